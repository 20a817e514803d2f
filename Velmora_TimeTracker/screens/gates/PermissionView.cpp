#include "screens/gates/PermissionView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRCard.h"
#include "screens/design/VRIconCircle.h"
#include "screens/design/VRIconView.h"
#include "screens/design/VRLabel.h"
#include "screens/gates/PermissionModel.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

PermissionView::PermissionView(PermissionModel& model, const VREnvironment& environment)
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
    connect(screen_.open, &VRButton::clicked, &model, &PermissionModel::openScreenRecordingSettings);
    connect(input_.open, &VRButton::clicked, &model, &PermissionModel::askForInputMonitoring);
    connect(again, &VRButton::clicked, &model, &PermissionModel::checkPermissionsAgain);
    connect(&model, &PermissionModel::changed, this, &PermissionView::refresh);
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
