#include "screens/signin/OTPDigitField.h"

#include "screens/design/VRPaint.h"

#include <QPainter>

using namespace Qt::StringLiterals;

namespace {
constexpr int longestPaste = 64;
}

OTPDigitField::OTPDigitField(const VREnvironment& environment, int index)
    : environment_(environment) {
    setFrame(false);
    setAlignment(Qt::AlignCenter);
    setMaxLength(longestPaste);
    setFont(VR::font(VR::Type::title));
    setInputMethodHints(Qt::ImhDigitsOnly);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(u"Digit %1 of 6"_s.arg(index + 1));
    setAccessibleDescription(u"#otpDigit%1"_s.arg(index + 1));
    QPalette colours = palette();
    colours.setColor(QPalette::Base, Qt::transparent);
    setPalette(colours);
}

void OTPDigitField::paintEvent(QPaintEvent* event) {
    const VRPalette& palette = environment_.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    VRPaint::roundedRect(painter, rect(), VR::controlRadius, palette.surfaceSoft,
                         hasFocus() ? palette.brand500 : palette.border, hasFocus() ? 2 : 1);
    painter.end();
    QLineEdit::paintEvent(event);
}

void OTPDigitField::focusInEvent(QFocusEvent* event) {
    QLineEdit::focusInEvent(event);
    selectAll();
}

void OTPDigitField::mouseReleaseEvent(QMouseEvent* event) {
    QLineEdit::mouseReleaseEvent(event);
    selectAll();
}
