#include "backend/Report.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace backend {

namespace {

constexpr int slotSeconds = 600;
constexpr int slotsPerHour = 6;
constexpr int slotsPerDay = 144;

int secondOfDay(qint64 at, const QTimeZone& zone) {
    return QTime(0, 0).secsTo(QDateTime::fromSecsSinceEpoch(at, zone).time());
}

/// Adds the seconds of [from, to) to the slots by their local time, piece by piece, so that a clock change
/// within the day counts to the hour that the clock showed.
void addTracked(Day& day, qint64 from, qint64 to) {
    while (from < to) {
        const int second = secondOfDay(from, day.zone);
        const qint64 until = std::min<qint64>(to, from + slotSeconds - second % slotSeconds);
        day.slots[static_cast<std::size_t>(second / slotSeconds)].trackedSeconds += until - from;
        from = until;
    }
}

QJsonObject statsJson(const Stats& stats) {
    return {{u"total_seconds"_s, stats.totalSeconds},
            {u"total_seconds_formatted"_s, durationText(stats.totalSeconds)},
            {u"mouse_movements"_s, stats.mouseMovements},
            {u"key_press_count"_s, stats.keyPressCount},
            {u"activity_rate"_s, stats.activityRate}};
}

QJsonObject screenshotJson(const Screenshot& screenshot, const Day& day, const QString& origin) {
    const QString url = origin + mediaPath(screenshot);
    const QDateTime time = QDateTime::fromSecsSinceEpoch(screenshot.capturedAt, day.zone);
    return {{u"url"_s, url},
            {u"url_available"_s, true},
            {u"thumbnail_url"_s, url},
            {u"thumbnail_url_available"_s, true},
            {u"captured_at"_s, time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODate)}};
}

bool isEmpty(const Slot& slot) {
    return slot.trackedSeconds == 0 && !slot.reported && slot.screenshots.empty();
}

} // namespace

Day dayOf(State& state, const QString& user, const Company& company, const QDate& date) {
    Day day{.date = date, .zone = company.zone(), .sessions = {}, .slots = {}};
    const qint64 from = date.startOfDay(day.zone).toSecsSinceEpoch();
    const qint64 to = date.addDays(1).startOfDay(day.zone).toSecsSinceEpoch();
    day.sessions = state.sessions.of(user, company.key, from, to);
    for (const Session& session : day.sessions)
        for (const Interval& interval : closedIntervals(session))
            addTracked(day, std::max(from, interval.startedAt), std::min(to, *interval.stoppedAt));
    for (const SegmentRow& row : state.segments.of(user, company.key, date.toString(Qt::ISODate))) {
        Slot& slot = day.slots[static_cast<std::size_t>(row.number)];
        slot.reported = true;
        slot.activityRate = row.activityRate;
        slot.mouseMovements = row.mouseMovements;
        slot.keyPressCount = row.keyPressCount;
    }
    for (Screenshot& screenshot : state.screenshots.of(user, company.key, from, to)) {
        const int slot = secondOfDay(screenshot.capturedAt, day.zone) / slotSeconds;
        day.slots[static_cast<std::size_t>(slot)].screenshots.push_back(std::move(screenshot));
    }
    return day;
}

Stats statsOf(const Day& day, int from, int to) {
    Stats stats;
    int reported = 0;
    for (int index = from; index < to; ++index) {
        const Slot& slot = day.slots[static_cast<std::size_t>(index)];
        stats.totalSeconds += slot.trackedSeconds;
        stats.mouseMovements += slot.mouseMovements;
        stats.keyPressCount += slot.keyPressCount;
        stats.activityRate += slot.activityRate;
        reported += slot.reported;
    }
    if (reported > 0)
        stats.activityRate /= reported;
    return stats;
}

QJsonObject reportOf(const Day& day, const QString& origin) {
    QJsonArray hours;
    for (int first = 0; first < slotsPerDay; first += slotsPerHour) {
        QJsonArray segments;
        for (int number = first; number < first + slotsPerHour; ++number) {
            const Slot& slot = day.slots[static_cast<std::size_t>(number)];
            if (isEmpty(slot))
                continue;
            QJsonArray screenshots;
            for (const Screenshot& screenshot : slot.screenshots)
                screenshots.append(screenshotJson(screenshot, day, origin));
            segments.append(QJsonObject{{u"segment_number"_s, number},
                                        {u"segment_number_from"_s, slotTimeText(number)},
                                        {u"segment_number_to"_s, slotTimeText(number + 1)},
                                        {u"indicator_color"_s, indicatorColor(slot.activityRate)},
                                        {u"stats"_s, statsJson(statsOf(day, number, number + 1))},
                                        {u"screenshots"_s, screenshots}});
        }
        if (!segments.isEmpty())
            hours.append(QJsonObject{{u"hour"_s, first / slotsPerHour},
                                     {u"stats"_s, statsJson(statsOf(day, first, first + slotsPerHour))},
                                     {u"segments"_s, segments}});
    }
    return {{u"summary"_s, QJsonObject{{u"stats"_s, statsJson(statsOf(day, 0, slotsPerDay))}}}, {u"hours"_s, hours}};
}

QString durationText(qint64 seconds) {
    const auto twoDigits = [](qint64 value) { return u"%1"_s.arg(value, 2, 10, QLatin1Char('0')); };
    if (seconds >= 3600)
        return u"%1h %2m"_s.arg(seconds / 3600).arg(twoDigits(seconds / 60 % 60));
    if (seconds >= 60)
        return u"%1m %2s"_s.arg(seconds / 60).arg(twoDigits(seconds % 60));
    return u"%1s"_s.arg(seconds);
}

QString slotTimeText(int slot) {
    return u"%1:%2"_s.arg(slot / slotsPerHour, 2, 10, QLatin1Char('0'))
        .arg(slot % slotsPerHour * 10, 2, 10, QLatin1Char('0'));
}

QString indicatorColor(double activityRate) {
    if (activityRate >= 60)
        return u"green"_s;
    return activityRate >= 30 ? u"orange"_s : u"red"_s;
}

QString mediaPath(const Screenshot& screenshot) {
    // A "+" in the time's offset stays as it is: it stands for itself in the path of a URL.
    return u"/media/%1/%2"_s.arg(screenshot.sessionUuid, screenshot.fileName);
}

} // namespace backend
