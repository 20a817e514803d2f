#include "screens/root/GateViews.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRCard.h"
#include "screens/design/VRIconCircle.h"
#include "screens/design/VRIconView.h"
#include "screens/design/VRSpinner.h"
#include "screens/design/VRLabel.h"
#include "screens/root/PopoverModel.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {
constexpr int iconDiameter = 64;
}

GateView::GateView(const VREnvironment& environment, const QString& title)
    : VRScrollView(environment) {
    const int side = environment.compact ? 16 : 40;
    const int above = environment.compact ? 8 : 20;
    column().setContentsMargins(side, above, side, above);
    column().setSpacing(environment.compact ? 6 : 12);
    column().addStretch(1);
    auto* heading = new VRLabel(environment, VR::Type::title, VR::Ink::strong, title, 2);
    heading->setAlignment(Qt::AlignCenter);
    column().addWidget(heading);
    column().addStretch(1);
}

VRLabel* GateView::addText(const QString& text, const QString& identifier) {
    const VR::Type type = environment().compact ? VR::Type::caption : VR::Type::body;
    auto* label = new VRLabel(environment(), type, VR::Ink::text, text, 5);
    label->setAlignment(Qt::AlignCenter);
    label->setAccessibleDescription(identifier);
    column().insertWidget(column().count() - 1, label);
    return label;
}

void GateView::addCentred(QWidget* widget) {
    column().insertSpacing(column().count() - 1, 4);
    column().insertWidget(column().count() - 1, widget, 0, Qt::AlignHCenter);
}

void GateView::putOnTop(QWidget* widget) {
    column().insertWidget(1, widget, 0, Qt::AlignHCenter);
}

RestoreView::RestoreView(PopoverModel& model, const VREnvironment& environment)
    : GateView(environment, u"Restoring your session…"_s)
    , model_(model) {
    putOnTop(new VRSpinner(environment, 40));
    slowHint_ = addText(u"Your desktop may be asking for permission to read your saved sign-in. Check "
                        "for a system dialog behind this window."_s);
    lockedHint_ = addText(u"Your saved sign-in is in a keyring that is locked."_s);
    unlock_ = new VRButton(environment, VRButton::Look::gradient, u"Unlock"_s, u"#unlockKeyring"_s);
    addCentred(unlock_);
    connect(unlock_, &VRButton::clicked, &model, &PopoverModel::unlockKeyring);
    signIn_ = new VRButton(environment, VRButton::Look::outline, u"Sign in instead"_s, u"#signInInstead"_s);
    addCentred(signIn_);
    connect(signIn_, &VRButton::clicked, &model, &PopoverModel::abandonAuthRestore);
    connect(&model, &PopoverModel::changed, this, &RestoreView::refresh);
    refresh();
}

void RestoreView::refresh() {
    const bool isLocked = model_.keyringIsLocked();
    lockedHint_->setVisible(isLocked);
    unlock_->setVisible(isLocked);
    slowHint_->setVisible(model_.authRestoreIsSlow() && !isLocked);
    signIn_->setVisible(model_.authRestoreIsSlow());
}

ForcedUpdateView::ForcedUpdateView(PopoverModel& model, const VREnvironment& environment)
    : GateView(environment, u"Update Required"_s)
    , model_(model) {
    setAccessibleName(u"Update Required"_s);
    setAccessibleDescription(u"#ForceUpdate_Window"_s);
    putOnTop(new VRIconCircle(environment, u"VRIconUpdate"_s, iconDiameter));
    addText(u"Your app version is no longer supported."_s);
    version_ = addText({}, u"#forceUpdateVersion"_s);
    addText(u"Tracking has been stopped. Any session in progress was saved and uploaded."_s);
    download_ = new VRButton(environment, VRButton::Look::gradient, u"Update Now"_s, u"#ForceUpdate_DownloadButton"_s);
    addCentred(download_);
    connect(download_, &VRButton::clicked, &model, &PopoverModel::openDownload);
    connect(&model, &PopoverModel::changed, this, &ForcedUpdateView::refresh);
    refresh();
}

void ForcedUpdateView::refresh() {
    const auto latest = model_.latestVersion();
    version_->setVisible(latest.has_value());
    version_->setText(u"Latest version: "_s + VR::shortName(latest.value_or(QString()), 40));
    download_->setVisible(model_.hasDownload());
}

PermissionView::PermissionView(PopoverModel& model, const VREnvironment& environment)
    : GateView(environment, u"Permissions Required"_s)
    , model_(model) {
    if (!environment.compact)
        putOnTop(new VRIconCircle(environment, u"VRIconPermissions"_s, iconDiameter));
    addText(u"Velmora TimeTracker needs Screen Recording and Input Monitoring to track your activity."_s);
    auto* card = new VRCard(environment);
    card->column().setSpacing(environment.compact ? 8 : 12);
    screen_ = addRow(*card, u"VRIconScreenshots"_s, u"Screen Recording"_s, u"#openScreenRecording"_s);
    input_ = addRow(*card, u"VRIconKeyboard"_s, u"Input Monitoring"_s, u"#openInputMonitoring"_s);
    column().insertWidget(column().count() - 1, card);
    explanation_ = addText({}, u"#permissionExplanation"_s);
    auto* again = new VRButton(environment, VRButton::Look::gradient, u"Check Again"_s, u"#checkPermissionsAgain"_s);
    if (environment.compact)
        again->setHeight(36);
    addCentred(again);
    connect(screen_.open, &VRButton::clicked, &model, &PopoverModel::openScreenRecordingSettings);
    connect(input_.open, &VRButton::clicked, &model, &PopoverModel::askForInputMonitoring);
    connect(again, &VRButton::clicked, &model, &PopoverModel::checkPermissionsAgain);
    connect(&model, &PopoverModel::changed, this, &PermissionView::refresh);
}

PermissionView::Row PermissionView::addRow(VRCard& card, const QString& icon, const QString& title,
                                           const QString& identifier) {
    Row row;
    auto* line = new QHBoxLayout;
    line->setSpacing(12);
    if (!environment().compact)
        line->addWidget(new VRIconCircle(environment(), icon, 36));
    auto* words = new QVBoxLayout;
    words->setSpacing(2);
    words->addWidget(new VRLabel(environment(), VR::Type::strong, VR::Ink::strong, title));
    auto* stateLine = new QHBoxLayout;
    stateLine->setSpacing(4);
    row.mark = new VRIconView(environment(), u"VRIconCheck"_s, 14, VR::Ink::good);
    row.state = new VRLabel(environment(), VR::Type::caption, VR::Ink::text);
    row.state->setAccessibleDescription(identifier + u"State"_s);
    stateLine->addWidget(row.mark);
    stateLine->addWidget(row.state, 1);
    words->addLayout(stateLine);
    line->addLayout(words, 1);
    row.open = new VRButton(environment(), environment().compact ? VRButton::Look::link : VRButton::Look::soft,
                            u"Open Settings"_s, identifier);
    row.open->setSpokenName(u"Open Settings: "_s + title);
    line->addWidget(row.open);
    card.column().addLayout(line);
    return row;
}

void PermissionView::show(const Row& row, bool granted) {
    row.mark->setIcon(granted ? u"VRIconCheck"_s : u"VRIconCluse"_s, granted ? VR::Ink::good : VR::Ink::danger);
    row.state->setText(granted ? u"Granted"_s : u"Not granted"_s);
    row.open->setVisible(!granted);
}

void PermissionView::refresh() {
    if (!isVisible())
        return;
    const auto states = model_.probePermissions();
    show(screen_, states.screenRecording);
    show(input_, states.inputMonitoring);
    explanation_->setText(states.explanation);
    explanation_->setVisible(!states.explanation.isEmpty());
}

void PermissionView::showEvent(QShowEvent* event) {
    GateView::showEvent(event);
    refresh();
}

InterruptedSessionView::InterruptedSessionView(PopoverModel& model, const VREnvironment& environment)
    : GateView(environment, u"Unfinished Session Found"_s)
    , model_(model) {
    putOnTop(new VRIconCircle(environment, u"VRIconHistory"_s, iconDiameter));
    task_ = new VRLabel(environment, VR::Type::strong, VR::Ink::strong);
    task_->setAlignment(Qt::AlignCenter);
    task_->setAccessibleDescription(u"#interruptedTask"_s);
    column().insertWidget(column().count() - 1, task_);
    since_ = addText({}, u"#interruptedSince"_s);
    auto* resume = new VRButton(environment, VRButton::Look::gradient, u"Resume"_s, u"#resumeInterrupted"_s);
    resume->setIconName(u"VRIconPlay"_s);
    auto* finish = new VRButton(environment, VRButton::Look::outline, u"Finish it"_s, u"#finishInterrupted"_s);
    addCentred(resume);
    addCentred(finish);
    connect(resume, &VRButton::clicked, &model, &PopoverModel::resumeInterruptedSession);
    connect(finish, &VRButton::clicked, &model, &PopoverModel::finishInterruptedSession);
    connect(&model, &PopoverModel::changed, this, &InterruptedSessionView::refresh);
    refresh();
}

void InterruptedSessionView::refresh() {
    since_->setText(model_.interruptedSince());
    task_->setText(model_.interruptedTask());
    task_->setVisible(!model_.interruptedTask().isEmpty());
}

void InterruptedSessionView::showEvent(QShowEvent* event) {
    GateView::showEvent(event);
    refresh();
}
