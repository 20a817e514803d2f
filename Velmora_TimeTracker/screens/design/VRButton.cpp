#include "screens/design/VRButton.h"

#include "screens/design/VRImages.h"
#include "screens/design/VRPaint.h"

#include <QHelpEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QToolTip>
#include <array>

namespace {
constexpr int iconGap = 8;
constexpr double disabledOpacity = 0.5;

QColor withAlpha(QColor colour, int alpha) {
    colour.setAlpha(alpha);
    return colour;
}
} // namespace

struct VRButton::Shape {
    int height;
    int padding;
    int icon;
    VR::Type type;
    bool stretches; ///< Grows with its layout.
    bool isPill;

    static const Shape& of(Look look) {
        static constexpr std::array<Shape, 7> shapes = {{
            {VR::controlHeight, 20, 18, VR::Type::heading, true, false}, // gradient
            {VR::controlHeight, 20, 18, VR::Type::heading, true, false}, // outline
            {36, 12, 16, VR::Type::strong, true, false},                 // soft
            {24, 2, 16, VR::Type::strong, false, false},                 // link
            {VR::controlHeight, 20, 18, VR::Type::heading, false, true}, // onGradient
            {26, 12, 14, VR::Type::caption, false, true},                // chip
            {36, 8, 20, VR::Type::strong, false, false},                 // plain
        }};
        return shapes.at(static_cast<std::size_t>(look));
    }
};

VRButton::VRButton(const VREnvironment& environment, Look look, const QString& text, const QString& identifier)
    : environment_(environment)
    , look_(look)
    , shape_(Shape::of(look))
    , height_(shape_.height) {
    setText(text);
    setAccessibleDescription(identifier);
    setFont(VR::font(shape_.type));
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(shape_.stretches ? QSizePolicy::Preferred : QSizePolicy::Maximum, QSizePolicy::Fixed);
}

void VRButton::setIconName(const QString& icon) {
    iconName_ = icon;
    updateGeometry();
    update();
}

void VRButton::setTint(Tint tint) {
    tint_ = tint;
    update();
}

void VRButton::setHeight(int height) {
    height_ = height;
    updateGeometry();
}

QSize VRButton::sizeHint() const {
    const int label = text().isEmpty() ? 0 : fontMetrics().horizontalAdvance(text()) + 2;
    const int icon = iconName_.isEmpty() ? 0 : shape_.icon + (text().isEmpty() ? 0 : iconGap);
    return {label + icon + 2 * shape_.padding, height_};
}

QSize VRButton::minimumSizeHint() const {
    return {qMin(sizeHint().width(), 48), height_};
}

QColor VRButton::ink() const {
    const VRPalette& palette = environment_.palette();
    if (look_ == Look::gradient && !isEnabled())
        return palette.textMuted;
    if (look_ == Look::gradient || look_ == Look::chip)
        return Qt::white;
    if (look_ == Look::onGradient)
        return palette.isDark ? palette.gradientStops[0] : palette.brand600;
    if (tint_ == Tint::danger)
        return palette.danger;
    if (look_ == Look::plain)
        return isHovered() ? palette.textStrong : palette.textMuted;
    return look_ == Look::soft ? palette.textStrong : palette.accentText();
}

void VRButton::paintGround(QPainter& painter, const QRectF& ground) const {
    const VRPalette& palette = environment_.palette();
    const double radius = qMin<double>(shape_.isPill ? ground.height() / 2 : VR::controlRadius, ground.height() / 2);
    const QColor edge = tint_ == Tint::danger ? palette.danger : palette.brand500;
    switch (look_) {
    case Look::gradient:
        VRPaint::roundedRect(painter, ground, radius,
                             isEnabled() ? VRPaint::gradient(palette, ground) : QBrush(palette.border));
        break;
    case Look::onGradient:
        VRPaint::roundedRect(painter, ground, radius, Qt::white);
        break;
    case Look::outline:
        VRPaint::roundedRect(painter, ground, radius, isHovered() ? withAlpha(edge, 20) : palette.surface,
                             withAlpha(edge, 150), 1.5);
        break;
    case Look::soft:
        VRPaint::roundedRect(painter, ground, radius, palette.surfaceSoft, palette.border);
        break;
    case Look::chip:
        VRPaint::roundedRect(painter, ground, radius, QColor(255, 255, 255, 44));
        break;
    case Look::link:
    case Look::plain:
        break;
    }
    if (look_ != Look::link && look_ != Look::outline && (isHovered() || isDown())) {
        const bool darkens = isDown() || (look_ != Look::gradient && look_ != Look::chip);
        VRPaint::roundedRect(painter, ground, radius,
                             darkens && !palette.isDark ? QColor(0, 0, 0, isDown() ? 28 : 12)
                                                        : QColor(255, 255, 255, isDown() ? 12 : 28));
    }
    if (showsFocus()) {
        const bool onColour = look_ == Look::gradient || look_ == Look::chip;
        const QColor ring = onColour ? QColor(Qt::white) : look_ == Look::onGradient ? ink() : palette.brand500;
        const double inset = look_ == Look::gradient || look_ == Look::onGradient ? 3 : 0;
        VRPaint::focusRing(painter, ground.adjusted(inset, inset, -inset, -inset), radius - inset, ring);
    }
}

void VRButton::paintLabel(QPainter& painter) const {
    const QColor colour = ink();
    const int icon = iconName_.isEmpty() ? 0 : shape_.icon;
    const int gap = icon > 0 && !text().isEmpty() ? iconGap : 0;
    const int room = qMax(0, width() - 2 * qMin(shape_.padding, 12) - icon - gap);
    const QString label =
        fontMetrics().elidedText(text(), Qt::ElideRight, qMax(room, look_ == Look::link ? width() : 0));
    const int labelWidth = label.isEmpty() ? 0 : fontMetrics().horizontalAdvance(label);
    int x = (width() - icon - gap - labelWidth) / 2;
    if (icon > 0) {
        painter.drawPixmap(x, (height() - icon) / 2,
                           environment_.images.icon(iconName_, colour, icon, devicePixelRatioF()));
        x += icon + gap;
    }
    QFont font = this->font();
    font.setUnderline(look_ == Look::link && isHovered());
    painter.setFont(font);
    painter.setPen(colour);
    painter.drawText(QRect(x, 0, labelWidth + 2, height()), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     label);
}

void VRButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled() && look_ != Look::gradient)
        painter.setOpacity(disabledOpacity);
    paintGround(painter, rect());
    paintLabel(painter);
}

void VRButton::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QAbstractButton::keyPressEvent(event);
}

void VRButton::focusInEvent(QFocusEvent* event) {
    const auto reason = event->reason();
    if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason)
        isKeyboardFocus_ = reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason;
    QAbstractButton::focusInEvent(event);
}

void VRButton::enterEvent(QEnterEvent*) {
    isHovered_ = true;
    update();
}

void VRButton::leaveEvent(QEvent*) {
    isHovered_ = false;
    update();
}

bool VRButton::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty() && sizeHint().width() > width()) {
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), VR::tooltip(text()), this);
        return true;
    }
    return QAbstractButton::event(event);
}
