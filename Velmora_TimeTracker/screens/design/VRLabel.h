#pragma once

#include "VR.h"

#include <QLabel>
#include <vector>

/// A text of the type scale, always plain. A text that does not fit is elided and shown whole in its tooltip;
/// it never widens the layout.
class VRLabel : public QLabel {
public:
    VRLabel(const VREnvironment& environment, VR::Type type, VR::Ink ink, const QString& text = {});

    void setText(const QString& text);
    void setInk(VR::Ink ink);
    /// 1 (the default) for a single line; more lines wrap.
    void setMaximumLines(int lines);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return maximumLines_ > 1; }
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    std::vector<QString> lines(int width) const;
    int lineHeight() const;

    const VREnvironment& environment_;
    const VR::Type type_;
    VR::Ink ink_;
    int maximumLines_ = 1;
};
