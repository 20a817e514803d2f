#include "screens/tracker/TrackerActiveView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRCard.h"
#include "screens/design/VRClockLabel.h"
#include "screens/design/VRIconView.h"
#include "screens/design/VRLabel.h"
#include "screens/tracker/DailyProgressView.h"
#include "screens/tracker/TrackerModel.h"

#include <QHBoxLayout>
#include <QShowEvent>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {
/// "Recent Activity" with its figure, in one translucent pill.
VRCard* makeActivityChip(const VREnvironment& environment, VRLabel** figure) {
    auto* chip = new VRCard(environment, VRCard::Look::glass, 0);
    chip->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    chip->setFixedHeight(30);
    auto* row = new QHBoxLayout;
    row->setContentsMargins(12, 0, 12, 0);
    row->setSpacing(6);
    row->addWidget(new VRIconView(environment, u"VRIconActivity"_s, 16, VR::Ink::onGradient));
    row->addWidget(new VRLabel(environment, VR::Type::caption, VR::Ink::onGradient, u"Recent Activity"_s));
    *figure = new VRLabel(environment, VR::Type::strong, VR::Ink::onGradient);
    (*figure)->setAccessibleDescription(u"#recentActivity"_s);
    row->addWidget(*figure);
    chip->column().setContentsMargins(0, 0, 0, 0);
    chip->column().addLayout(row);
    return chip;
}
} // namespace

TrackerActiveView::TrackerActiveView(TrackerModel& model, const VREnvironment& environment)
    : model_(model)
    , environment_(environment) {
    auto* column = VR::makeColumn(this, environment.gap());
    column->addWidget(makeHero());
    column->addLayout(makeControls());
    column->addStretch(1);
    setFocusProxy(pause_);
    connect(&model, &TrackerModel::changed, this, &TrackerActiveView::refresh);
    refresh();
}

VRHeroCard* TrackerActiveView::makeHero() {
    auto* hero = new VRHeroCard(environment_, &VRPalette::activeHero, 0.75, environment_.compact ? 16 : 24);
    QVBoxLayout& column = hero->column();
    project_ = new VRLabel(environment_, VR::Type::heading, VR::Ink::onGradient);
    project_->setAccessibleDescription(u"#projectName"_s);
    clock_ = new VRClockLabel(environment_.compact ? 44 : 56);
    clock_->setAccessibleDescription(u"#dayClock"_s);
    phrase_ = new VRLabel(environment_, VR::Type::body, VR::Ink::onGradient, {}, 3);
    phrase_->setAccessibleDescription(u"#activePhrase"_s);
    progress_ = new DailyProgressView(model_, environment_);
    column.setSpacing(6);
    column.addWidget(project_);
    column.addWidget(clock_);
    column.addWidget(phrase_);
    column.addSpacing(10);
    column.addWidget(makeActivityChip(environment_, &activity_), 0, Qt::AlignLeft);
    column.addSpacing(10);
    column.addWidget(progress_);
    return hero;
}

QHBoxLayout* TrackerActiveView::makeControls() {
    pause_ = new VRButton(environment_, VRButton::Look::gradient, {}, u"#pauseTracking"_s);
    pause_->setHeight(48);
    auto* stop = new VRButton(environment_, VRButton::Look::outline, u"Stop"_s, u"#stopTracking"_s);
    stop->setTint(VRButton::Tint::danger);
    stop->setIconName(u"VRIconStop"_s);
    stop->setHeight(48);
    auto* row = new QHBoxLayout;
    row->setSpacing(12);
    row->addWidget(pause_, 1);
    row->addWidget(stop, 1);
    connect(pause_, &VRButton::clicked, &model_, &TrackerModel::pauseOrResume);
    connect(stop, &VRButton::clicked, &model_, &TrackerModel::stop);
    return row;
}

void TrackerActiveView::refresh() {
    const QString project = model_.projectName();
    project_->setText(project);
    project_->setVisible(!project_->text().isEmpty());
    clock_->setTime(model_.dayClock());
    clock_->setDimmed(model_.isPaused());
    phrase_->setText(model_.activePhrase());
    activity_->setText(model_.recentActivity());
    progress_->refresh();
    const bool isPaused = model_.isPaused();
    const QString title = isPaused ? u"Resume"_s : u"Pause"_s;
    if (pause_->text() == title)
        return;
    pause_->setText(title);
    pause_->setIconName(isPaused ? u"VRIconPlay"_s : u"VRIconPause"_s);
}

void TrackerActiveView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (event->spontaneous())
        return;
    model_.activeViewAppeared();
    refresh();
}
