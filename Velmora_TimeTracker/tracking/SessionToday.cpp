#include "model/SegmentUtils.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "storage/DomainStorage.h"
#include "storage/SQLiteStore.h"
#include "tracking/SessionArithmetic.h"
#include "tracking/SessionOperation.h"
#include "tracking/TodayTotal.h"

Seconds SessionManager::currentLocalTotal() const {
    const bool isRunning = isTracking_ && currentSession_;
    return todayCompletedSeconds_ +
           (isRunning ? SessionArithmetic::sessionTotal(*currentSession_, runningClock_.endOfRunning(deps_.clock.now()))
                      : 0);
}

void SessionManager::refreshTodayCompletedSeconds() {
    if (serverTodayTotalDomain_ != deps_.domain.domainKey())
        serverTodayTotal_.reset(); // of another company
    const Date now = deps_.clock.now();
    const Date from = startOfDay(now);
    const Date to = SegmentUtils::startOfDayAfter(now, 1, engineTimeZone()).value_or(now);
    todayCompletedSeconds_ = 0;
    for (const Session& session : journal_.finishedSessions(deps_.domain.domainKey()))
        if (!session.intervals.empty() && session.intervals.front().startedAt >= from)
            todayCompletedSeconds_ += SessionArithmetic::sessionTotal(session, from);
    for (const auto& row : deps_.store.sessionHistory(from, to))
        todayCompletedSeconds_ += row.totalSeconds;
    recomputeTodayTotalSeconds();
}

/// Counts anew after a change of the local sum of which the server knows: it is not added on top of its figure.
void SessionManager::refreshBesideServer(Seconds localBefore) {
    refreshTodayCompletedSeconds();
    localTotalAtServerAnchor_ += currentLocalTotal() - localBefore;
    recomputeTodayTotalSeconds();
}

void SessionManager::recomputeTodayTotalSeconds() {
    todayTotalSeconds_ = TodayTotal::shown(currentLocalTotal(), serverTodayTotal_, localTotalAtServerAnchor_,
                                           dateText(deps_.clock.now()));
}

void SessionManager::applyServerTodayTotal(const ServerTodayTotal& incoming) {
    const QString today = dateText(deps_.clock.now());
    switch (TodayTotal::judge(incoming, serverTodayTotal_, today)) {
    case TodayTotal::Verdict::malformed:
        qCCritical(Log::session, "Ignoring server today_total: no date: %s", qPrintable(incoming.date.left(40)));
        return;
    case TodayTotal::Verdict::outdated:
        qCInfo(Log::session, "Ignoring outdated server today_total: dated %s, today is %s", qPrintable(incoming.date),
               qPrintable(today));
        return;
    case TodayTotal::Verdict::stale:
        qCInfo(Log::session, "Ignoring stale server today_total: incoming date %s < current %s",
               qPrintable(incoming.date), qPrintable(serverTodayTotal_->date));
        return;
    case TodayTotal::Verdict::accept:
        break;
    }
    const Operation operation(*this);
    const auto previous = std::exchange(serverTodayTotal_, incoming);
    serverTodayTotalDomain_ = deps_.domain.domainKey();
    if (previous && previous->date != incoming.date) {
        if (incoming.date == today)
            refreshTodayCompletedSeconds(); // of the old day, nothing
        else
            todayCompletedSeconds_ = 0; // this clock is behind the server's: all is of the old day
        qCInfo(Log::session, "Server today_date changed %s(%llds) → %s(%llds); local reset to 0",
               qPrintable(previous->date), previous->totalSeconds, qPrintable(incoming.date), incoming.totalSeconds);
    }
    localTotalAtServerAnchor_ = currentLocalTotal();
    recomputeTodayTotalSeconds();
}

void SessionManager::recordLast5MinInput(bool hadInput) {
    if (!isTracking_ || isPaused_)
        return;
    const auto before = recentActivity_.rate();
    recentActivity_.add(hadInput);
    const Operation operation(*this, before != recentActivity_.rate());
}
