#include "screens/root/GateViews.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRCard.h"
#include "screens/design/VRDecor.h"
#include "screens/design/VRLabel.h"
#include "screens/root/PopoverModel.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

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
    : GateView(environment, QStringLiteral("Restoring your session…"))
    , model_(model) {
    putOnTop(new VRSpinner(environment, 40));
    slowHint_ =
        addText(QStringLiteral("Your desktop may be asking for permission to read your saved sign-in. Check "
                               "for a system dialog behind this window."));
    lockedHint_ = addText(QStringLiteral("Your saved sign-in is in a keyring that is locked."));
    unlock_ = new VRButton(environment, VRButton::Look::gradient, QStringLiteral("Unlock"),
                           QStringLiteral("#unlockKeyring"));
    addCentred(unlock_);
    connect(unlock_, &VRButton::clicked, &model, &PopoverModel::unlockKeyring);
    signIn_ = new VRButton(environment, VRButton::Look::outline, QStringLiteral("Sign in instead"),
                           QStringLiteral("#signInInstead"));
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
    : GateView(environment, QStringLiteral("Update Required"))
    , model_(model) {
    setAccessibleName(QStringLiteral("Update Required"));
    setAccessibleDescription(QStringLiteral("#ForceUpdate_Window"));
    putOnTop(new VRIconCircle(environment, QStringLiteral("VRIconUpdate"), iconDiameter));
    addText(QStringLiteral("Your app version is no longer supported."));
    version_ = addText({}, QStringLiteral("#forceUpdateVersion"));
    addText(QStringLiteral("Tracking has been stopped. Any session in progress was saved and uploaded."));
    download_ = new VRButton(environment, VRButton::Look::gradient, QStringLiteral("Update Now"),
                             QStringLiteral("#ForceUpdate_DownloadButton"));
    addCentred(download_);
    connect(download_, &VRButton::clicked, &model, &PopoverModel::openDownload);
    connect(&model, &PopoverModel::changed, this, &ForcedUpdateView::refresh);
    refresh();
}

void ForcedUpdateView::refresh() {
    const auto latest = model_.latestVersion();
    version_->setVisible(latest.has_value());
    version_->setText(QStringLiteral("Latest version: ") + VR::shortName(latest.value_or(QString()), 40));
    download_->setVisible(model_.hasDownload());
}

PermissionView::PermissionView(PopoverModel& model, const VREnvironment& environment)
    : GateView(environment, QStringLiteral("Permissions Required"))
    , model_(model) {
    if (!environment.compact)
        putOnTop(new VRIconCircle(environment, QStringLiteral("VRIconPermissions"), iconDiameter));
    addText(QStringLiteral(
        "Velmora TimeTracker needs Screen Recording and Input Monitoring to track your activity."));
    auto* card = new VRCard(environment);
    card->column().setSpacing(environment.compact ? 8 : 12);
    screen_ = addRow(*card, QStringLiteral("VRIconScreenshots"), QStringLiteral("Screen Recording"),
                     QStringLiteral("#openScreenRecording"));
    input_ = addRow(*card, QStringLiteral("VRIconKeyboard"), QStringLiteral("Input Monitoring"),
                    QStringLiteral("#openInputMonitoring"));
    column().insertWidget(column().count() - 1, card);
    explanation_ = addText({}, QStringLiteral("#permissionExplanation"));
    auto* again = new VRButton(environment, VRButton::Look::gradient, QStringLiteral("Check Again"),
                               QStringLiteral("#checkPermissionsAgain"));
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
    row.mark = new VRIconView(environment(), QStringLiteral("VRIconCheck"), 14, VR::Ink::good);
    row.state = new VRLabel(environment(), VR::Type::caption, VR::Ink::text);
    row.state->setAccessibleDescription(identifier + QStringLiteral("State"));
    stateLine->addWidget(row.mark);
    stateLine->addWidget(row.state, 1);
    words->addLayout(stateLine);
    line->addLayout(words, 1);
    row.open =
        new VRButton(environment(), environment().compact ? VRButton::Look::link : VRButton::Look::soft,
                     QStringLiteral("Open Settings"), identifier);
    row.open->setSpokenName(QStringLiteral("Open Settings: ") + title);
    line->addWidget(row.open);
    card.column().addLayout(line);
    return row;
}

void PermissionView::show(const Row& row, bool granted) {
    row.mark->setIcon(granted ? QStringLiteral("VRIconCheck") : QStringLiteral("VRIconCluse"),
                      granted ? VR::Ink::good : VR::Ink::danger);
    row.state->setText(granted ? QStringLiteral("Granted") : QStringLiteral("Not granted"));
    row.open->setVisible(!granted);
}

void PermissionView::refresh() {
    if (!isVisible())
        return;
    const auto states = model_.probePermissions();
    show(screen_, states.screenRecording);
    show(input_, states.inputMonitoring);
    const auto words = Routing::permissionExplanation(states.screenRecording, states.inputMonitoring);
    explanation_->setText(words.value_or(QString()));
    explanation_->setVisible(words.has_value());
}

void PermissionView::showEvent(QShowEvent* event) {
    GateView::showEvent(event);
    refresh();
}

InterruptedSessionView::InterruptedSessionView(PopoverModel& model, const VREnvironment& environment)
    : GateView(environment, QStringLiteral("Unfinished Session Found"))
    , model_(model) {
    putOnTop(new VRIconCircle(environment, QStringLiteral("VRIconHistory"), iconDiameter));
    task_ = new VRLabel(environment, VR::Type::strong, VR::Ink::strong);
    task_->setAlignment(Qt::AlignCenter);
    task_->setAccessibleDescription(QStringLiteral("#interruptedTask"));
    column().insertWidget(column().count() - 1, task_);
    since_ = addText({}, QStringLiteral("#interruptedSince"));
    auto* resume = new VRButton(environment, VRButton::Look::gradient, QStringLiteral("Resume"),
                                QStringLiteral("#resumeInterrupted"));
    resume->setIconName(QStringLiteral("VRIconPlay"));
    auto* finish = new VRButton(environment, VRButton::Look::outline, QStringLiteral("Finish it"),
                                QStringLiteral("#finishInterrupted"));
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
