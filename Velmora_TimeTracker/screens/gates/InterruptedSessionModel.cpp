#include "screens/gates/InterruptedSessionModel.h"

#include "platform/Clock.h"
#include "screens/text/Formatting.h"
#include "tracking/SessionManager.h"

using namespace Qt::StringLiterals;

InterruptedSessionModel::InterruptedSessionModel(const Dependencies& dependencies)
    : deps_(dependencies) {
    connect(&deps_.sessionManager, &SessionManager::changed, this, &InterruptedSessionModel::changed);
}

QString InterruptedSessionModel::interruptedSince() const {
    const auto& session = deps_.sessionManager.interruptedSession();
    if (!session || session->intervals.empty())
        return u"Started unknown"_s;
    return u"Started "_s + Formatting::relative(session->intervals.front().startedAt, deps_.clock.now());
}

QString InterruptedSessionModel::interruptedTask() const {
    const auto& session = deps_.sessionManager.interruptedSession();
    return session ? session->projectName : QString();
}

void InterruptedSessionModel::resumeInterruptedSession() {
    deps_.sessionManager.resumeInterruptedSession();
}

void InterruptedSessionModel::finishInterruptedSession() {
    deps_.sessionManager.finishInterruptedSession();
}
