#include "tracking/TodayTotal.h"

#include <QDate>
#include <algorithm>

Seconds TodayTotal::shown(Seconds local, const std::optional<ServerTodayTotal>& server,
                          Seconds localTotalAtServerAnchor, const QString& today) {
    if (!server || server->date < today)
        return local;
    const Seconds sinceAnchor = std::max(0.0, local - localTotalAtServerAnchor);
    return std::max(local, static_cast<Seconds>(server->totalSeconds) + sinceAnchor);
}

TodayTotal::Verdict TodayTotal::judge(const ServerTodayTotal& incoming, const std::optional<ServerTodayTotal>& current,
                                      const QString& today) {
    // Texts are compared below, which orders only dates of one form.
    if (QDate::fromString(incoming.date, Qt::ISODate).toString(Qt::ISODate) != incoming.date)
        return Verdict::malformed;
    if (incoming.date < today)
        return Verdict::outdated;
    return current && incoming.date < current->date ? Verdict::stale : Verdict::accept;
}
