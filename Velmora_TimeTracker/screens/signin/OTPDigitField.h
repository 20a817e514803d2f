#pragma once

#include "screens/design/VR.h"

#include <QLineEdit>

/// One box of a one-time code. Its digit is selected on focus, so that typing replaces it; two digits in one box are
/// therefore a paste.
class OTPDigitField : public QLineEdit {
public:
    OTPDigitField(const VREnvironment& environment, int index);

    QSize sizeHint() const override { return {44, 52}; }
    QSize minimumSizeHint() const override { return {32, 52}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    const VREnvironment& environment_;
};
