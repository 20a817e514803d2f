#include "tracking/SessionArithmetic.h"

#include "model/SegmentUtils.h"

#include <algorithm>

namespace SessionArithmetic {

namespace {

/// Larger totals are those of a broken clock; the bound keeps the conversion defined and the payload exact.
constexpr Seconds largestTotal = 1e15;

Date startOfDay(Date date, const QTimeZone& zone) {
    return SegmentUtils::calendarDate(date, zone).value_or(date);
}

/// The first midnight after `start`, when `end` does not lie before it.
std::optional<Date> midnightWithin(Date start, Date end, const QTimeZone& zone) {
    const auto midnight = SegmentUtils::startOfDayAfter(start, 1, zone);
    return midnight && start < *midnight && *midnight <= end ? midnight : std::nullopt;
}

/// The same for the same arguments, so that a repeated cut yields the same records.
QUuid successor(const QUuid& id, Date from) {
    return QUuid::createUuidV5(id, QByteArray::number(from.secondsSince1970(), 'f', 0));
}

/// Adds an interval to the last day, or to a new one when it begins on another.
void append(std::vector<Session>& days, const TrackingInterval& interval, const QTimeZone& zone) {
    const Session& last = days.back();
    const Date day = startOfDay(interval.startedAt, zone);
    if (!last.intervals.empty() && startOfDay(last.intervals.front().startedAt, zone) != day) {
        Session next;
        next.id = successor(last.id, interval.startedAt);
        next.deviceId = last.deviceId;
        next.projectId = last.projectId;
        next.projectName = last.projectName;
        days.push_back(next);
    }
    days.back().intervals.push_back(interval);
}

} // namespace

Seconds sessionTotal(const Session& session, Date asOf) {
    return session.reportedTotalSeconds ? static_cast<Seconds>(*session.reportedTotalSeconds)
                                        : session.totalSeconds(asOf);
}

void finish(Session& session, Date asOf) {
    const Seconds total = sessionTotal(session, asOf);
    session.status = SessionStatus::completed;
    session.reportedTotalSeconds = static_cast<qint64>(std::clamp(total, 0.0, largestTotal));
}

Date lastStop(const Session& session, Date otherwise) {
    return session.intervals.empty() ? otherwise : session.intervals.back().stoppedAt.value_or(otherwise);
}

bool isSessionCrossDay(const Session& session, Date now, const QTimeZone& zone) {
    return !session.intervals.empty() && startOfDay(now, zone) > startOfDay(session.intervals.front().startedAt, zone);
}

std::vector<Session> byDays(const Session& session, Date asOf, const QTimeZone& zone) {
    std::vector<Session> days{session};
    days.back().intervals.clear();
    days.back().idleDiscardCutoffAt.reset();
    for (TrackingInterval interval : session.intervals) {
        const Date end = interval.stoppedAt.value_or(asOf);
        for (auto midnight = midnightWithin(interval.startedAt, end, zone); midnight;
             midnight = midnightWithin(interval.startedAt, end, zone)) {
            TrackingInterval before = interval;
            before.stoppedAt = *midnight - midnightEpsilonSeconds;
            append(days, before, zone);
            interval.id = successor(interval.id, *midnight);
            interval.startedAt = *midnight;
        }
        append(days, interval, zone);
    }
    days.back().idleDiscardCutoffAt = session.idleDiscardCutoffAt;
    return days;
}

Date settledEnd(Date startedAt, const std::optional<Date>& lastAlive, Date now) {
    return std::max(std::min(lastAlive.value_or(startedAt), now), startedAt);
}

} // namespace SessionArithmetic
