#pragma once

#include "screens/design/VR.h"

#include <QLabel>
#include <vector>

/// Plain text in a style of the type scale. A text that does not fit is elided and shown in full in the tooltip,
/// unless another tooltip is set. It never widens the layout.
class VRLabel : public QLabel {
public:
    /// `maximumLines` is 1 for a single line; more lines wrap.
    VRLabel(const VREnvironment& environment, VR::Type type, VR::Ink ink, const QString& text = {},
            int maximumLines = 1);

    void setText(const QString& text);
    void setInk(VR::Ink ink);
    /// True if the text does not fit.
    bool isElided() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return wraps(); }
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    void takeRoom();
    bool wraps() const { return maximumLines_ > 1; }
    std::vector<QString> lines(int width) const;
    int lineHeight() const;

    const VREnvironment& environment_;
    VR::Ink ink_;
    const int maximumLines_;
};
