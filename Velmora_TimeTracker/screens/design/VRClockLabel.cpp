#include "screens/design/VRClockLabel.h"

#include <QPainter>
#include <QtMath>
#include <utility>

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
