#pragma once

#include "screens/design/VR.h"

#include <QLabel>
#include <vector>

/// A text of the type scale, always plain. A text that does not fit is elided and shown whole in its tooltip, unless it has another one;
/// it never widens the layout.
class VRLabel : public QLabel {
public:
    /// `maximumLines` is 1 for a single line; more lines wrap.
    VRLabel(const VREnvironment& environment, VR::Type type, VR::Ink ink, const QString& text = {},
            int maximumLines = 1);

    void setText(const QString& text);
    void setInk(VR::Ink ink);
    /// The text does not fit its room.
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
