#include "screens/tracker/TaskField.h"

#include "screens/design/VRImages.h"
#include "screens/design/VRPaint.h"
#include "screens/tracker/TrackerModel.h"

#include <QActionGroup>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QProxyStyle>
#include <QToolTip>

using namespace Qt::StringLiterals;

namespace {
constexpr int sidePadding = 14;
constexpr int chevronSize = 18;
/// Maximum width of the menu.
constexpr int widestEntry = 420;

/// Padding of the entries.
class RoomyMenuStyle : public QProxyStyle {
public:
    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override {
        constexpr int entryHeight = 34;
        const QSize plain = QProxyStyle::sizeFromContents(type, option, size, widget);
        return type == CT_MenuItem ? plain.expandedTo({0, entryHeight}) : plain;
    }
};

/// Tints the selected entry.
QPalette menuColours(const VRPalette& palette, QPalette colours) {
    colours.setColor(QPalette::Window, palette.surface);
    colours.setColor(QPalette::Highlight, palette.isDark ? palette.border : palette.appBackground);
    colours.setColor(QPalette::HighlightedText, palette.textStrong);
    return colours;
}
} // namespace

TaskField::TaskField(TrackerModel& model, const VREnvironment& environment)
    : VRButton(environment, Look::soft, {}, u"#taskField"_s)
    , model_(model) {
    setHeight(VR::controlHeight);
    connect(this, &VRButton::clicked, this, &TaskField::presentTaskMenu);
    refresh();
}

QSize TaskField::sizeHint() const {
    return {200, VR::controlHeight};
}

void TaskField::refresh() {
    const QString title = VR::displayText(model_.selectedTaskMenuTitle());
    if (title == title_)
        return;
    title_ = title;
    setSpokenName(u"Task (optional): "_s + title_);
    update();
}

void TaskField::presentTaskMenu() {
    model_.scheduleTaskMenuConfigRefreshFromServer();
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    auto* style = new RoomyMenuStyle;
    style->setParent(menu);
    menu->setStyle(style);
    menu->setPalette(menuColours(environment().palette(), menu->palette()));
    menu->setFont(VR::font(VR::Type::body));
    menu->setAccessibleName(u"Task"_s);
    auto* group = new QActionGroup(menu);
    for (const TrackerModel::TaskChoice& choice : model_.taskChoices()) {
        QString name = menu->fontMetrics().elidedText(VR::displayText(choice.name), Qt::ElideRight, widestEntry);
        QAction* entry = menu->addAction(name.replace(u'&', u"&&"_s));
        entry->setCheckable(true);
        entry->setChecked(choice.isCurrent);
        group->addAction(entry);
        connect(entry, &QAction::triggered, &model_, [this, id = choice.id] { model_.chooseTask(id); });
        if (choice.isCurrent)
            menu->setActiveAction(entry);
    }
    menu->setMinimumWidth(width());
    menu->popup(mapToGlobal(QPoint(0, height() + 4)));
}

void TaskField::paintEvent(QPaintEvent*) {
    const VRPalette& palette = environment().palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    VRPaint::roundedRect(painter, rect(), VR::controlRadius, palette.surfaceSoft,
                         isHovered() || showsFocus() ? palette.brand500 : palette.border, showsFocus() ? 2 : 1);
    const QPixmap chevron =
        environment().images.icon(u"VRIconChevronDown"_s, palette.textMuted, chevronSize, devicePixelRatioF());
    painter.drawPixmap(width() - sidePadding - chevronSize, (height() - chevronSize) / 2, chevron);
    const QRect room(sidePadding, 0, width() - 2 * sidePadding - chevronSize - 8, height());
    painter.setFont(VR::font(VR::Type::body));
    painter.setPen(palette.textStrong);
    painter.drawText(room, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     painter.fontMetrics().elidedText(title_, Qt::ElideRight, room.width()));
}

void TaskField::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Down)
        presentTaskMenu();
    else
        VRButton::keyPressEvent(event);
}

bool TaskField::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip)
        return VRButton::event(event);
    if (fontMetrics().horizontalAdvance(title_) > width() - 2 * sidePadding - chevronSize - 8)
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), VR::tooltip(title_), this);
    return true;
}
