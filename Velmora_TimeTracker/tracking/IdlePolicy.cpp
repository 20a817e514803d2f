#include "tracking/IdlePolicy.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

void IdlePolicy::applyDiscard(Session& session, bool discardIdleTime) {
    const std::optional<Date> cutoff = std::exchange(session.idleDiscardCutoffAt, std::nullopt);
    if (!discardIdleTime || !cutoff || session.intervals.empty())
        return;
    TrackingInterval& last = session.intervals.back();
    if (last.stoppedAt)
        last.stoppedAt = std::min(*last.stoppedAt, std::max(last.startedAt, *cutoff));
}

IdlePolicy::Action IdlePolicy::action(const std::optional<QString>& idleAction) {
    if (idleAction == u"stop"_s)
        return Action::stop;
    if (idleAction == u"pause"_s)
        return Action::pause;
    return Action::ask;
}
