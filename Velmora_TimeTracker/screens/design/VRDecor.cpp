#include "screens/design/VRDecor.h"

#include "screens/design/VRImages.h"
#include "screens/design/VRPaint.h"

#include <QPainter>
#include <QtMath>
#include <utility>

using namespace Qt::StringLiterals;

VRIconView::VRIconView(const VREnvironment& environment, const QString& icon, int size, VR::Ink ink)
    : environment_(environment)
    , icon_(icon)
    , ink_(ink) {
    setFixedSize(size, size);
}

void VRIconView::setIcon(const QString& icon, VR::Ink ink) {
    if (icon_ == icon && ink_ == ink)
        return;
    icon_ = icon;
    ink_ = ink;
    update();
}

void VRIconView::paintEvent(QPaintEvent*) {
    QPainter(this).drawPixmap(
        0, 0, environment_.images.icon(icon_, VR::colour(ink_, environment_.palette()), width(), devicePixelRatioF()));
}

VRIconCircle::VRIconCircle(const VREnvironment& environment, const QString& icon, int diameter)
    : environment_(environment)
    , icon_(icon) {
    setFixedSize(diameter, diameter);
}

void VRIconCircle::paintEvent(QPaintEvent*) {
    const VRPalette& palette = environment_.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor disc = palette.brand500;
    disc.setAlpha(palette.isDark ? 40 : 28);
    VRPaint::roundedRect(painter, rect(), width() / 2.0, disc);
    const int icon = width() / 2;
    painter.drawPixmap((width() - icon) / 2, (height() - icon) / 2,
                       environment_.images.icon(icon_, palette.accentText(), icon, devicePixelRatioF()));
}

VRProgressBar::VRProgressBar(int height) {
    setFixedHeight(height);
    setAccessibleName(u"Progress"_s);
}

void VRProgressBar::setValue(double value) {
    const double clamped = qBound(0.0, value, 1.0);
    const bool isVisibleChange = qRound(clamped * width()) != qRound(value_ * width());
    value_ = clamped;
    if (isVisibleChange)
        update();
}

void VRProgressBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double radius = height() / 2.0;
    VRPaint::roundedRect(painter, rect(), radius, QColor(255, 255, 255, 70));
    if (value_ > 0)
        VRPaint::roundedRect(painter, QRectF(0, 0, qMax<double>(height(), width() * value_), height()), radius,
                             Qt::white);
}

VRClockLabel::VRClockLabel(int pixelSize) {
    QFont figures = VR::font(VR::Type::clock);
    figures.setPixelSize(pixelSize);
    setFont(figures);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

int VRClockLabel::advance(QChar c) const {
    return c.isDigit() ? fontMetrics().horizontalAdvance(u'0') : fontMetrics().horizontalAdvance(c);
}

QRect VRClockLabel::cell(qsizetype index) const {
    int x = 0;
    for (qsizetype i = 0; i < index; ++i)
        x += advance(time_.at(i));
    return {x, 0, advance(time_.at(index)), height()};
}

void VRClockLabel::setTime(const QString& time) {
    const QString before = std::exchange(time_, time);
    if (before == time)
        return;
    setAccessibleName(time);
    if (before.size() != time.size()) {
        updateGeometry();
        return update();
    }
    for (qsizetype i = 0; i < time.size(); ++i)
        if (time.at(i) != before.at(i))
            update(cell(i));
}

void VRClockLabel::setDimmed(bool dimmed) {
    if (isDimmed_ == dimmed)
        return;
    isDimmed_ = dimmed;
    update();
}

QSize VRClockLabel::sizeHint() const {
    int width = 0;
    for (const QChar c : time_)
        width += advance(c);
    return {width, qCeil(fontMetrics().ascent() * 1.12)};
}

void VRClockLabel::paintEvent(QPaintEvent*) {
    constexpr double dimmedOpacity = 0.65;
    QPainter painter(this);
    painter.setOpacity(isDimmed_ ? dimmedOpacity : 1.0);
    painter.setPen(Qt::white);
    for (qsizetype i = 0; i < time_.size(); ++i)
        painter.drawText(cell(i), Qt::AlignCenter, QString(time_.at(i)));
}

VRSpinner::VRSpinner(const VREnvironment& environment, int diameter)
    : environment_(environment) {
    setFixedSize(diameter, diameter);
    // Twelve positions a turn: smooth enough, and a twelfth of the frames.
    turning_.setStartValue(0);
    turning_.setEndValue(12);
    turning_.setDuration(900);
    turning_.setLoopCount(-1);
    connect(&turning_, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

void VRSpinner::showEvent(QShowEvent*) {
    turning_.start();
}

void VRSpinner::hideEvent(QHideEvent*) {
    turning_.stop();
}

void VRSpinner::paintEvent(QPaintEvent*) {
    const VRPalette& palette = environment_.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double stroke = qMax(2.0, width() / 9.0);
    const QRectF ring = QRectF(rect()).adjusted(stroke, stroke, -stroke, -stroke);
    painter.setPen(QPen(palette.border, stroke));
    painter.drawEllipse(ring);
    painter.setPen(QPen(palette.brand500, stroke, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(ring, -turning_.currentValue().toInt() * 30 * 16, 100 * 16);
}
