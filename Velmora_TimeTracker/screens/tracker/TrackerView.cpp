#include "screens/tracker/TrackerView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRCard.h"
#include "screens/design/VRIconView.h"
#include "screens/design/VRLabel.h"
#include "screens/tracker/TrackerActiveView.h"
#include "screens/tracker/TrackerIdleView.h"
#include "screens/tracker/TrackerModel.h"
#include "screens/tracker/TrackerNoticesView.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {
/// A notice with a title; the caller adds its text and its buttons.
VRCard* makeNotice(const VREnvironment& environment, const QString& icon, const QString& title,
                   QHBoxLayout** titleRow) {
    auto* card = new VRCard(environment, VRCard::Look::notice, 16);
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    row->addWidget(new VRIconView(environment, icon, 18, VR::Ink::danger));
    row->addWidget(new VRLabel(environment, VR::Type::heading, VR::Ink::strong, title, 2), 1);
    card->column().addLayout(row);
    *titleRow = row;
    return card;
}
} // namespace

TrackerView::TrackerView(TrackerModel& model, const VREnvironment& environment)
    : VRScrollView(environment)
    , model_(model) {
    column().setContentsMargins(environment.margin(), environment.margin() - 4, environment.margin(),
                                environment.margin() - 4);
    permissionLost_ = makePermissionBanner();
    midnight_ = makeMidnightBanner();
    column().addWidget(permissionLost_);
    column().addWidget(midnight_);
    notices_ = new TrackerNoticesView(model, environment);
    column().addWidget(notices_);
    connect(&model, &TrackerModel::changed, this, &TrackerView::refresh);
    refresh();
}

VRCard* TrackerView::makePermissionBanner() {
    QHBoxLayout* titleRow = nullptr;
    VRCard* card = makeNotice(environment(), u"VRIconWarning"_s, u"Screenshot could not be captured"_s, &titleRow);
    auto* dismiss = new VRButton(environment(), VRButton::Look::plain, {}, u"#permissionBannerDismiss"_s);
    dismiss->setIconName(u"VRIconCluse"_s);
    dismiss->setSpokenName(u"Dismiss"_s);
    dismiss->setHeight(28);
    titleRow->addWidget(dismiss);
    auto* text = new VRLabel(environment(), VR::Type::caption, VR::Ink::text,
                             u"The desktop denied the Screen Recording permission, so tracking was stopped. Enable "
                             "it in System Settings, then quit and reopen the app."_s,
                             6);
    auto* open = new VRButton(environment(), VRButton::Look::outline, u"Open System Settings"_s,
                              u"#permissionBannerOpenSettings"_s);
    open->setHeight(36);
    card->column().addWidget(text);
    card->column().addWidget(open, 0, Qt::AlignLeft);
    connect(dismiss, &VRButton::clicked, &model_, &TrackerModel::dismissPermissionLost);
    connect(open, &VRButton::clicked, &model_, &TrackerModel::openPermissionSettings);
    return card;
}

VRCard* TrackerView::makeMidnightBanner() {
    QHBoxLayout* titleRow = nullptr;
    VRCard* card = makeNotice(environment(), u"VRIconClock"_s, u"Session crossed midnight"_s, &titleRow);
    midnightTask_ = new VRLabel(environment(), VR::Type::caption, VR::Ink::text);
    midnightTask_->setAccessibleDescription(u"#midnightTask"_s);
    auto* start = new VRButton(environment(), VRButton::Look::outline, u"Start new session"_s, u"#midnightStartNew"_s);
    auto* later = new VRButton(environment(), VRButton::Look::soft, u"Later"_s, u"#midnightLater"_s);
    start->setHeight(36);
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    row->addWidget(start);
    row->addWidget(later);
    row->addStretch(1);
    card->column().addWidget(midnightTask_);
    card->column().addLayout(row);
    connect(start, &VRButton::clicked, &model_, &TrackerModel::startNewSession);
    connect(later, &VRButton::clicked, &model_, &TrackerModel::dismissCrossDayBanner);
    return card;
}

void TrackerView::refresh() {
    permissionLost_->setVisible(model_.permissionWasLost());
    const auto task = model_.crossDayTask();
    midnight_->setVisible(task.has_value());
    midnightTask_->setText(u"Task: "_s + task.value_or(QString()));
    notices_->refresh();
    if (showsActive_ != model_.isTracking())
        showBody(model_.isTracking());
}

void TrackerView::showBody(bool tracking) {
    const bool hadFocus = body_ && body_->isAncestorOf(focusWidget());
    const auto* pressed = hadFocus ? dynamic_cast<VRButton*>(focusWidget()) : nullptr;
    const bool byKeyboard = pressed && pressed->showsFocus();
    showsActive_ = tracking;
    VR::discard(body_);
    body_ = tracking ? static_cast<QWidget*>(new TrackerActiveView(model_, environment()))
                     : new TrackerIdleView(model_, environment());
    column().addWidget(body_, 1);
    body_->show();
    if (hadFocus)
        body_->setFocus(byKeyboard ? Qt::TabFocusReason : Qt::OtherFocusReason);
}
