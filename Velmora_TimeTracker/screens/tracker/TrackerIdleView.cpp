#include "screens/tracker/TrackerIdleView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRCard.h"
#include "screens/design/VRIconView.h"
#include "screens/design/VRLabel.h"
#include "screens/tracker/TaskField.h"
#include "screens/tracker/TrackerModel.h"

#include <QHBoxLayout>
#include <QShowEvent>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {
/// An icon before a wrapping text.
QHBoxLayout* makeLine(const VREnvironment& environment, const QString& icon, VRLabel* text) {
    auto* line = new QHBoxLayout;
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(10);
    line->addWidget(new VRIconView(environment, icon, 18, VR::Ink::accent), 0, Qt::AlignTop);
    line->addWidget(text, 1);
    return line;
}
} // namespace

TrackerIdleView::TrackerIdleView(TrackerModel& model, const VREnvironment& environment)
    : model_(model)
    , environment_(environment) {
    auto* column = VR::makeColumn(this, environment.gap());
    column->addWidget(makeHero());
    column->addWidget(makeTaskCard());
    column->addWidget(makeTipsCard());
    column->addStretch(1);
    setFocusProxy(start_);
    connect(&model, &TrackerModel::changed, this, &TrackerIdleView::refresh);
    refresh();
}

VRHeroCard* TrackerIdleView::makeHero() {
    auto* hero = new VRHeroCard(environment_, &VRPalette::idleHero, environment_.compact ? 0.40 : 0.46,
                                environment_.compact ? 12 : 24);
    hero->setMinimumHeight(environment_.compact ? 176 : 204);
    auto* words = new QVBoxLayout;
    words->setSpacing(8);
    phrase_ = new VRLabel(environment_, VR::Type::title, VR::Ink::onGradient, {}, 4);
    phrase_->setAccessibleDescription(u"#idlePhrase"_s);
    words->addWidget(phrase_);
    words->addWidget(new VRLabel(environment_, VR::Type::body, VR::Ink::onGradientSoft,
                                 u"Start tracking your time\nand stay productive."_s, 3));
    auto* row = new QHBoxLayout;
    row->addLayout(words, environment_.compact ? 64 : 58);
    row->addStretch(environment_.compact ? 36 : 42);
    start_ = new VRButton(environment_, VRButton::Look::onGradient, u"Start Tracking"_s, u"#startTracking"_s);
    start_->setIconName(u"VRIconPlay"_s);
    hero->column().addStretch(1);
    hero->column().addLayout(row);
    hero->column().addSpacing(8);
    hero->column().addWidget(start_, 0, Qt::AlignLeft);
    hero->column().addStretch(1);
    connect(start_, &VRButton::clicked, &model_, &TrackerModel::start);
    return hero;
}

VRCard* TrackerIdleView::makeTaskCard() {
    auto* card = new VRSectionCard(environment_, u"VRIconClipboard"_s, u"Task (optional)"_s);
    taskField_ = new TaskField(model_, environment_);
    card->column().setSpacing(12);
    card->column().addWidget(taskField_);
    return card;
}

VRCard* TrackerIdleView::makeTipsCard() {
    auto* card = new VRCard(environment_, VRCard::Look::soft, 14);
    auto* tip = new VRLabel(environment_, VR::Type::caption, VR::Ink::text,
                            u"Pick a task to make time analysis and reports easier."_s, 3);
    card->column().addLayout(makeLine(environment_, u"VRIconTracker"_s, tip));
    statusLine_ = new QWidget;
    status_ = new VRLabel(environment_, VR::Type::caption, VR::Ink::strong, {}, 4);
    status_->setAccessibleDescription(u"#statusMessage"_s);
    statusLine_->setLayout(makeLine(environment_, u"VRIconInfo"_s, status_));
    card->column().addWidget(statusLine_);
    return card;
}

void TrackerIdleView::refresh() {
    phrase_->setText(model_.idlePhrase());
    start_->setEnabled(model_.canStart());
    taskField_->refresh();
    const auto message = model_.statusMessage();
    status_->setText(message.value_or(QString()));
    statusLine_->setVisible(message.has_value());
}

void TrackerIdleView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (event->spontaneous())
        return;
    model_.idleViewAppeared();
    refresh();
}
