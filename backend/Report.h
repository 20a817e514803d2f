#pragma once

#include "backend/Endpoint.h"

#include <array>

namespace backend {

/// A ten-minute slot of a day at the company.
struct Slot {
    qint64 trackedSeconds = 0; ///< what the sessions' intervals cover of it
    bool reported = false;     ///< a segment has arrived for it; the figures below are the segment's
    double activityRate = 0;   ///< percent
    qint64 mouseMovements = 0;
    qint64 keyPressCount = 0;
    std::vector<Screenshot> screenshots;
};

struct Stats {
    qint64 totalSeconds = 0;
    qint64 mouseMovements = 0;
    qint64 keyPressCount = 0;
    double activityRate = 0; ///< mean over the slots that were reported
};

/// One person's day at one company, in the company's zone.
struct Day {
    QDate date;
    QTimeZone zone = QTimeZone::utc();
    std::vector<Session> sessions;
    std::array<Slot, 144> slots;
};

Day dayOf(State& state, const QString& user, const Company& company, const QDate& date);
/// Over the slots [from, to).
Stats statsOf(const Day& day, int from, int to);
/// The report as the screenshots screen reads it: the hours in which anything happened.
QJsonObject reportOf(const Day& day, const QString& origin);

/// "1h 05m", "12m 30s" or "45s".
QString durationText(qint64 seconds);
/// "09:10" of slot 55; slot 144 ends the day at "24:00".
QString slotTimeText(int slot);
/// "green", "orange" or "red".
QString indicatorColor(double activityRate);
/// Path of a stored picture on this server.
QString mediaPath(const Screenshot& screenshot);

} // namespace backend
