#include "SessionArithmetic.h"

#include "SegmentUtils.h"

#include <algorithm>

namespace SessionArithmetic {

namespace {

/// Larger totals are those of a broken clock; the bound keeps the conversion defined and the payload exact.
constexpr Seconds largestTotal = 1e15;

Date startOfDay(Date date, const QTimeZone& zone) {
    return SegmentUtils::calendarDate(date, zone).value_or(date);
}

} // namespace

Seconds sessionTotal(const Session& session, Date asOf) {
    return session.reportedTotalSeconds ? static_cast<Seconds>(*session.reportedTotalSeconds)
                                        : session.totalSeconds(asOf) + countedIdleSeconds;
}

void finish(Session& session, Date asOf) {
    const Seconds total = sessionTotal(session, asOf);
    session.status = SessionStatus::completed;
    session.reportedTotalSeconds = static_cast<qint64>(std::clamp(total, 0.0, largestTotal));
}

Date lastStop(const Session& session, Date otherwise) {
    return session.intervals.empty() ? otherwise : session.intervals.back().stoppedAt.value_or(otherwise);
}

void clampSessionIntervalsToStopAt(Session& session, Date stopAt) {
    if (session.intervals.empty())
        return;
    TrackingInterval first = session.intervals.front();
    for (TrackingInterval& interval : session.intervals)
        interval.stoppedAt = std::min(interval.stoppedAt.value_or(stopAt), stopAt);
    std::erase_if(session.intervals,
                  [](const TrackingInterval& interval) { return *interval.stoppedAt < interval.startedAt; });
    if (session.intervals.empty()) {
        first.stoppedAt = stopAt;
        session.intervals.push_back(first);
    }
}

bool isSessionCrossDay(const Session& session, Date now, const QTimeZone& zone) {
    return !session.intervals.empty() &&
           startOfDay(now, zone) > startOfDay(session.intervals.front().startedAt, zone);
}

std::optional<Date> endOfFirstDay(const Session& session, const QTimeZone& zone) {
    if (session.intervals.empty())
        return std::nullopt;
    const auto nextDay = SegmentUtils::startOfDayAfter(session.intervals.front().startedAt, 1, zone);
    return nextDay ? std::optional(*nextDay - midnightEpsilonSeconds) : std::nullopt;
}

Date settledEnd(Date startedAt, const std::optional<Date>& lastAlive, Date now) {
    return std::max(std::min(lastAlive.value_or(startedAt), now), startedAt);
}

} // namespace SessionArithmetic
