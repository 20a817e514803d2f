#include "application/SessionAlerts.h"

#include "application/AppStateManager.h"
#include "platform/Desktop.h"
#include "tracking/SessionManager.h"

#include <QPointer>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
const QString idleQuestion = u"IdleQuestionDialog"_s;
}

SessionAlerts::SessionAlerts(SessionManager& sessionManager, const AppStateManager& appState, Desktop& desktop)
    : sessionManager_(sessionManager)
    , appState_(appState)
    , desktop_(desktop) {
    connect(&sessionManager, &SessionManager::changed, this, &SessionAlerts::withdrawLapsedIdleQuestion);
}

void SessionAlerts::presentIdleQuestion() {
    if (appState_.forceClientUpdate())
        return;
    isAskingAboutIdleness_ = true;
    desktop_.activate();
    Alert alert;
    alert.style = Alert::Style::warning;
    alert.showsIcon = true;
    alert.message = u"You are idle"_s;
    alert.informative = u"Continue the session or stop?"_s;
    alert.buttons = {u"Continue"_s, u"Stop"_s};
    alert.identifier = idleQuestion;
    desktop_.present(alert, [weak = QPointer(this)](int button) {
        if (weak)
            weak->answerIdleQuestion(button);
    });
}

void SessionAlerts::answerIdleQuestion(int button) {
    isAskingAboutIdleness_ = false;
    if (button == 0)
        sessionManager_.continueAfterIdle();
    else
        sessionManager_.stopTracking(u"idle"_s);
}

void SessionAlerts::withdrawLapsedIdleQuestion() {
    if (!sessionManager_.needsIdleDecision() && std::exchange(isAskingAboutIdleness_, false))
        desktop_.withdraw(idleQuestion);
}

void SessionAlerts::presentTakeover() {
    desktop_.activate();
    Alert alert;
    alert.showsIcon = true;
    alert.message = u"Session resumed on another device"_s;
    alert.informative = u"Tracking on this device was stopped because your session was resumed on another device."_s;
    alert.buttons = {u"OK"_s};
    alert.identifier = u"SessionTakenOverDialog"_s;
    desktop_.present(alert, [](int) {});
}
