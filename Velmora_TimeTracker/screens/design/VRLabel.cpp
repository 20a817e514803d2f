#include "screens/design/VRLabel.h"

#include <QAccessible>
#include <QCoreApplication>
#include <QEvent>
#include <QHelpEvent>
#include <QPainter>
#include <QTextLayout>
#include <QToolTip>
#include <QtMath>

VRLabel::VRLabel(const VREnvironment& environment, VR::Type type, VR::Ink ink, const QString& text, int maximumLines)
    : environment_(environment)
    , ink_(ink)
    , maximumLines_(maximumLines) {
    setTextFormat(Qt::PlainText);
    setFont(VR::font(type));
    // Not fixed: the size hint assumes a width that the layout may not give.
    QSizePolicy policy(QSizePolicy::Preferred, wraps() ? QSizePolicy::Preferred : QSizePolicy::Fixed);
    policy.setHeightForWidth(wraps());
    setSizePolicy(policy);
    setText(text);
}

void VRLabel::setText(const QString& text) {
    const QString shown = VR::displayText(text, wraps());
    if (shown == QLabel::text())
        return;
    QLabel::setText(shown);
    if (isVisible() && wraps() && heightForWidth(width()) != height())
        takeRoom();
    if (QAccessible::isActive()) {
        QAccessibleEvent changed(this, QAccessible::NameChanged);
        QAccessible::updateAccessibility(&changed);
    }
}

/// Updates all parent layouts at once: they propagate a change one by one, and a frame in between would show the text
/// cut off.
void VRLabel::takeRoom() {
    for (QWidget* above = parentWidget(); above; above = above->parentWidget()) {
        QEvent news(QEvent::LayoutRequest);
        QCoreApplication::sendEvent(above, &news);
    }
}

void VRLabel::setInk(VR::Ink ink) {
    if (ink_ == ink)
        return;
    ink_ = ink;
    update();
}

int VRLabel::lineHeight() const {
    return qCeil(fontMetrics().height() * (wraps() ? 1.12 : 1.0));
}

std::vector<QString> VRLabel::lines(int width) const {
    if (!wraps())
        return {fontMetrics().elidedText(text(), Qt::ElideRight, width)};
    std::vector<QString> made;
    QTextOption wrapping;
    wrapping.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    for (const QString& paragraph : text().split(u'\n')) {
        QTextLayout layout(paragraph, font());
        layout.setTextOption(wrapping);
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(width);
            const QString rest = paragraph.mid(line.textStart());
            const bool isLast = static_cast<int>(made.size()) + 1 == maximumLines_;
            made.push_back(isLast ? fontMetrics().elidedText(rest, Qt::ElideRight, width)
                                  : rest.left(line.textLength()).trimmed());
            if (isLast)
                return made;
        }
    }
    return made;
}

QSize VRLabel::sizeHint() const {
    if (!wraps())
        return {fontMetrics().horizontalAdvance(text()) + 1, lineHeight()};
    int widest = 0;
    for (const QString& paragraph : text().split(u'\n'))
        widest = qMax(widest, fontMetrics().horizontalAdvance(paragraph) + 1);
    const int width = qMin(widest, 320);
    return {width, heightForWidth(width)};
}

QSize VRLabel::minimumSizeHint() const {
    return {qMin(sizeHint().width(), 24), lineHeight()};
}

int VRLabel::heightForWidth(int width) const {
    return lineHeight() * static_cast<int>(qMax<std::size_t>(1, lines(qMax(width, 24)).size()));
}

void VRLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(VR::colour(ink_, environment_.palette()));
    const auto shown = lines(width());
    const int block = lineHeight() * static_cast<int>(shown.size());
    int top = alignment() & Qt::AlignTop ? 0 : qMax(0, (height() - block) / 2);
    for (const QString& line : shown) {
        painter.drawText(QRect(0, top, width(), lineHeight()),
                         int(alignment() & Qt::AlignHorizontal_Mask) | Qt::AlignVCenter | Qt::TextSingleLine, line);
        top += lineHeight();
    }
}

bool VRLabel::isElided() const {
    const auto shown = lines(width());
    return !shown.empty() && shown.back().endsWith(u'…') && !text().endsWith(u'…');
}

bool VRLabel::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip || !toolTip().isEmpty())
        return QLabel::event(event);
    if (isElided())
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), VR::tooltip(text()), this);
    return true;
}
