#include "World.h"
#include "storage/TrackingHeartbeat.h"

#include <sqlite3.h>

/// What happens to the employee, the machine and the program.

void World::sleepMachine(Seconds span) {
    ++happened_["sleep"];
    isSleepy_ = true;
    fellAsleep_ = platform_.timeline.date();
    const bool ran = seen_.isRunning();
    const bool isAnnounced = !oneIn(5);
    const bool isHeard = !oneIn(5); // the signal of the wake may get lost
    if (isAnnounced) {
        platform_.power.willSleep();
        pass(0);
        observe();
    }
    sleepOrSetClock(span, changesClock_ && oneIn(3));
    touch(); // somebody woke it
    if (isHeard)
        platform_.power.didWake();
    pass(0);
    observe();
    heardNoWake_ = !isHeard && seen_.isPaused;
    if (ran && isHeard && seen_.isTracking && seen_.isPaused && !seen_.isIdle)
        complain("still paused after the wake");
    pass(1.5); // a tick: the program looks at its clocks
    isSleepy_ = false;
    pass(3);
}

/// What runs is cut there.
void World::sleepOrSetClock(Seconds span, bool setsClock) {
    const bool runs = seen_.isRunning();
    if (runs)
        runningEnded(true);
    platform_.timeline.sleepMachine(span);
    slept_ += span;
    if (setsClock) {
        ++happened_["clock jump"];
        const double sizes[] = {2, 60, 3600, 90000, 10 * 365.25 * 86400};
        const double by = (oneIn(2) ? 1 : -1) * sizes[number(0, 4)] * between(0.6, 1);
        jumped_ += std::abs(by);
        platform_.timeline.jumpWallClock(by);
        server_.forgetWaits();
    }
    if (runs)
        intervalBegan();
}

/// The running session is resumed elsewhere; or one that has just ended here, while its end still waits to be sent.
void World::takeOver() {
    server_.takeOver(seen_.session);
    if (oneIn(2))
        return;
    server_.isUnreachable = true;
    command([this] { core_->sessionManager.stopTracking(); });
    pass(between(1, 60));
    command([this] { press(0.1); });
    server_.isUnreachable = false;
    workFor(between(60, 300), 12);
}

/// Nothing can be sent meanwhile.
void World::workWithoutKeyring() {
    platform_.secrets.isBroken = true;
    workFor(between(30, 300), 12);
    platform_.secrets.isBroken = false;
    server_.lastReport[seen_.session] = platform_.timeline.uptime();
}

void World::pressWhileBusy() {
    holdDatabase();
    for (int press = 0; press < 2; ++press) {
        command([this] { this->press(between(0, 0.14)); });
        pass(between(0.1, 2));
    }
    releaseDatabase();
}

/// Another process holds the database.
void World::holdDatabase() {
    if (sqlite3_open(QFile::encodeName(databaseFile()).constData(), &holder_) == SQLITE_OK)
        sqlite3_exec(holder_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    ++happened_["busy database"];
}

void World::releaseDatabase() {
    sqlite3_close(std::exchange(holder_, nullptr)); // rolls back nothing
    pass(3);
}

void World::die() {
    ++happened_["death"];
    if (seen_.isRunning()) {
        if (oneIn(4))
            leaveHalfPicture();
        runningEnded(false);
        known_[seen_.session].lost += std::exchange(known_[seen_.session].unstored, 0);
        truth_.note(std::max(intervalBegan_ - Truth::tickSlack, real() - Truth::crashLoss), real() + Truth::tickSlack,
                    Truth::Second::allowed);
        if (options_.fault == PlantedFault::lostMark)
            TrackingHeartbeat::clear(seen_.session, platform_.preferences);
    }
    for (const double late : {0.0, Truth::tickSlack}) // the last tick may have been in the slot before
        slots_[slotOf(platform_.timeline.date() - late)].lost += Truth::crashLoss;
    if (isSleepy_) // no tick since
        slots_[slotOf(fellAsleep_)].lost += Truth::crashLoss;
    endProcess();
    lostPictures_ = std::clamp(missingPictures(), lostPictures_, lostPictures_ + 1);
}

/// By the menu, or with the session of the desktop.
void World::quit() {
    ++happened_["quit"];
    platform_.power.willTerminate();
    if (seen_.isRunning())
        runningEnded(true);
    known_[seen_.session].unstored = 0;
    endProcess();
    lostPictures_ = std::clamp(missingPictures(), lostPictures_, lostPictures_ + 1);
}

/// The process dies while it writes a picture.
void World::leaveHalfPicture() {
    QFile file(pictureFolder() + u'/' + seen_.session.toString(QUuid::WithoutBraces).toUpper() +
               "_2026-01-01T09-00-00Z_0.jpg.Ab1cD2");
    if (file.open(QIODevice::WriteOnly)) {
        file.write("half");
        file.flush(); // before it is stamped
        stamp(file);
    }
}
