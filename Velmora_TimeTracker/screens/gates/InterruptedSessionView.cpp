#include "screens/gates/InterruptedSessionView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRIconCircle.h"
#include "screens/design/VRLabel.h"
#include "screens/gates/InterruptedSessionModel.h"

#include <QVBoxLayout>

using namespace Qt::StringLiterals;

InterruptedSessionView::InterruptedSessionView(InterruptedSessionModel& model, const VREnvironment& environment)
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
    connect(resume, &VRButton::clicked, &model, &InterruptedSessionModel::resumeInterruptedSession);
    connect(finish, &VRButton::clicked, &model, &InterruptedSessionModel::finishInterruptedSession);
    connect(&model, &InterruptedSessionModel::changed, this, &InterruptedSessionView::refresh);
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
