#include "tracking/SessionJournal.h"

#include "model/ISO8601.h"
#include "platform/Log.h"
#include "storage/TrackingHeartbeat.h"

#include <QStringList>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr Seconds retryInterval = 1.0;
constexpr Seconds retryTolerance = 0.2;

bool isFinished(const SessionStep& step) {
    return step.session.status == SessionStatus::completed;
}

QString readable(const Session& session, const QTimeZone& zone) {
    QStringList intervals;
    for (const TrackingInterval& interval : session.intervals)
        intervals.append(ISO8601::text(interval.startedAt, zone) + u" to "_s +
                         (interval.stoppedAt ? ISO8601::text(*interval.stoppedAt, zone) : u"the end of the program"_s));
    return u"session %1, device %2, project %3 \"%4\", %5"_s.arg(
        uuidText(session.id), session.deviceId, session.projectId, session.projectName, intervals.join(u", "_s));
}

} // namespace

SessionJournal::SessionJournal(SQLiteStore& store, PreferenceStore& preferences, Executor& main)
    : store_(store)
    , preferences_(preferences)
    , main_(main) {}

void SessionJournal::write(SessionStep step) {
    // Only the newest state of a running session matters.
    if (!waiting_.empty() && !step.report && !isFinished(waiting_.back()) &&
        waiting_.back().session.id == step.session.id && !isFinished(step))
        waiting_.back().session = std::move(step.session);
    else
        waiting_.push_back(std::move(step));
    if (!retry_)
        drain();
}

void SessionJournal::drain() {
    const bool wasWaiting = failure_.has_value();
    while (!waiting_.empty() && writeNow(waiting_.front())) {
        const SessionStep step = std::move(waiting_.front());
        waiting_.pop_front();
        if (saved_)
            saved_(step);
    }
    if (!failure_)
        retry_.reset();
    else if (!retry_)
        retry_ = main_.every(retryInterval, retryInterval, retryTolerance, [this] { drain(); });
    if (wasWaiting != failure_.has_value() && changed_)
        changed_();
}

bool SessionJournal::writeNow(const SessionStep& step) {
    const Session& session = step.session;
    failure_ = store_.transaction([&] {
        const bool isWritten = isFinished(step) ? store_.appendSessionHistory(session, step.domainKey) &&
                                                      store_.clearActiveSession(session.id, step.domainKey)
                                                : store_.saveActiveSession(session, step.domainKey);
        return isWritten && (!step.report || store_.enqueueUploadTask(*step.report, step.domainKey));
    });
    if (!failure_ && isFinished(step))
        TrackingHeartbeat::clear(session.id, preferences_);
    return !failure_;
}

bool SessionJournal::holds(const QUuid& session) const {
    return std::ranges::any_of(waiting_, [&](const SessionStep& step) { return step.session.id == session; });
}

bool SessionJournal::holdsReport(const QUuid& session) const {
    return std::ranges::any_of(waiting_,
                               [&](const SessionStep& step) { return step.session.id == session && step.report; });
}

std::vector<Session> SessionJournal::finishedSessions(const QString& domainKey) const {
    std::vector<Session> sessions;
    for (const SessionStep& step : waiting_)
        if (isFinished(step) && step.domainKey == domainKey)
            sessions.push_back(step.session);
    return sessions;
}

void SessionJournal::close(const QTimeZone& zone) {
    drain();
    for (const SessionStep& step : waiting_)
        qCCritical(Log::session, "Not saved, to be entered by hand: %s, of %s",
                   qUtf8Printable(readable(step.session, zone)), qUtf8Printable(step.domainKey));
}
