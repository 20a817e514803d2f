#include "World.h"

#include <cmath>

/// What the employee does, and what happens to them.

void World::touch() {
    lastInputUptime_ = platform_.timeline.uptime();
    const int events = oneIn(3) ? 5 : 1;
    if (seen_.isRunning()) {
        lastCountedInput_ = real();
        known_[seen_.session].events += events;
        if (isTidy()) {
            Slot& slot = slots_[slotOf(platform_.timeline.date())];
            ++slot.touches;
            slot.events += events;
        }
    }
    platform_.input.happen(oneIn(2) ? InputEventType::keyDown : InputEventType::mouseMoved, events);
}

void World::workFor(Seconds span, Seconds pause) {
    const double until = real() + span;
    while (real() < until && complaints_.isEmpty()) {
        touch();
        pass(between(0.2, pause));
    }
}

void World::act() {
    // The world begins at nine in the morning of the employee. Who lives long has evenings and weekends.
    const double hours = real() / 3600 + 9;
    const double hour = std::fmod(hours, 24);
    const bool isFree = options_.days > 7 && (hour < 8 || hour >= 18 || std::fmod(hours / 24, 7) >= 5);
    if (isFree || (hour < 8 && !oneIn(6))) {
        if (!oneIn(4))
            sleepMachine(between(600, 4 * 3600));
        else
            pass(between(300, 3600));
        return;
    }
    useTheProgram();
    if (untilMidnight() < 1200 && !oneIn(3)) {
        useItAtMidnight();
        return;
    }
    if (oneIn(3))
        server_.isUnreachable = false; // most outages are short
    switch (number(0, 13)) {
    case 0:
        pass(between(200, 1500)); // away from the desk
        touch();
        pass(8);
        break;
    case 1:
        sleepMachine(between(30, 7200));
        break;
    case 2:
        server_.isUnreachable = !server_.isUnreachable && oneIn(2);
        server_.isFailing = !server_.isFailing && oneIn(3);
        break;
    case 3:
        if (oneIn(3) && jobsUntilDeath_ < 0)
            jobsUntilDeath_ = number(0, 4000);
        break;
    case 4:
        changeSettings();
        break;
    case 5:
        if (oneIn(6) && seen_.isTracking)
            server_.takeOver(seen_.session);
        break;
    case 6:
        platform_.permissions.screenRecording = !oneIn(8);
        break;
    case 7:
        if (changesClock_ && oneIn(3))
            sleepOrSetClock(0, true);
        else if (changesCompany_ && oneIn(2))
            changeCompany();
        break;
    case 8:
        if (oneIn(2)) {
            server_.expireTokens();
            server_.rejectsRefresh = oneIn(4);
        }
        break;
    default:
        workFor(between(120, 2400), oneIn(4) ? 90 : 12);
    }
}

void World::useTheProgram() {
    touch();
    if (!core_->appState.isAuthenticated() && !core_->appState.isRestoringSession())
        signIn();
    command([this] { press(chance()); });
    platform_.desktop.forget(); // open questions are answered by the same buttons on the screen
}

/// By the wall clock.
Seconds World::untilMidnight() const {
    const Date now = platform_.timeline.date();
    return truth_.start() + companyMidnight(now, 1) - now;
}

/// Just then, mostly before a tick has noticed it.
void World::useItAtMidnight() {
    constexpr Seconds tickPeriod = 1.2;
    workFor(untilMidnight() - 15, 12);
    if (untilMidnight() > 60)
        return; // the process died, and midnight passed
    pass(untilMidnight() + between(0, tickPeriod));
    if (oneIn(2))
        sleepMachine(between(30, 7200));
    else if (seen_.isTracking)
        command([this] { press(between(0, 0.14)); });
}

/// One of the buttons that the screen offers, or none.
void World::press(double chosen) {
    SessionManager& engine = core_->sessionManager;
    if (engine.interruptedSession()) {
        leaveInterrupted(chosen < 0.6);
    } else if (!engine.isTracking()) {
        if (chosen < 0.7) {
            platform_.permissions.screenRecording = true;
            lastCountedInput_.reset();
            engine.startTracking(chosen < 0.4 ? std::optional(server_.config.projects.front())
                                              : std::nullopt);
        }
    } else if (engine.isPaused()) {
        if (chosen < 0.75) {
            const double pausedAt = known_[seen_.session].gap.value_or(Gap{0, real()}).to;
            if (companyDate(truth_.start() + pausedAt + jumped_) == companyDate(platform_.timeline.date()))
                resolveGap(seen_.session, true);
            engine.continueAfterIdle();
            if (engine.isPaused())
                engine.resumeTracking();
        } else {
            engine.stopTracking(oneIn(2) ? std::optional("idle") : std::nullopt);
        }
    } else if (chosen < 0.08) {
        engine.pauseTracking();
    } else if (chosen < 0.14) {
        engine.stopTracking();
    }
}

/// The session that a crash left behind goes on, or ends at its last mark of life, as when the sign-in is no longer good.
void World::leaveInterrupted(bool resumes) {
    SessionManager& engine = core_->sessionManager;
    resolveGap(engine.interruptedSession()->id, false);
    if (resumes) {
        engine.resumeInterruptedSession();
        return;
    }
    ++happened_["discard"];
    engine.discardInterruptedSession();
}

void World::storeSignIn() {
    server_.rejectsRefresh = false;
    DomainStorage(platform_.preferences).setBaseURL(QUrl("https://a.example/api/v1/"));
    KeychainService(platform_.secrets)
        .saveAuthTokens({QString::fromLatin1(server_.accessToken()), "refresh", Date{}, Date{},
                         "2099-01-01T00:00:00Z", "2099-01-01T00:00:00Z"});
}

/// What the sign-in screen does once the server let the employee in.
void World::signIn() {
    ++happened_["sign-in"];
    storeSignIn();
    command([this] {
        core_->appState.publish(server_.config);
        core_->appState.setAuthenticated(true);
        core_->sessionManager.applyConfig(server_.config);
        core_->sessionManager.recoverInterruptedSessionForCurrentDomain();
        core_->startPeriodicRefresh();
    });
}

void World::sleepMachine(Seconds span) {
    ++happened_["sleep"];
    isSleepy_ = true;
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

void World::changeSettings() {
    RemoteConfig& config = server_.config;
    const char* actions[] = {"ask", "pause", "stop", "whatever"};
    config.idleAction = QString::fromLatin1(actions[number(0, 3)]);
    config.idleMinutesThreshold = number(0, 12);
    config.screenshotIntervalMinutes = number(3, 20);
    if (std::ranges::none_of(known_, [](const Known& session) { return session.gap.has_value(); }))
        config.discardIdleTime = oneIn(2);
    if (changesZone_ && oneIn(3)) {
        ++happened_["zone change"];
        config.appTimezone = QString::fromLatin1(zones[number(0, 11)]);
    }
    if (oneIn(2))
        command([&] { core_->apply(config); });
}

void World::changeCompany() {
    if (core_->sessionManager.isTracking())
        return; // one left behind by a crash waits for its company
    ++happened_["company change"];
    const bool isFirst = core_->domain.domainKey() == "a.example";
    core_->domain.setBaseURL(QUrl(isFirst ? "https://b.example/api/v1/" : "https://a.example/api/v1/"));
    core_->sessionManager.recoverInterruptedSessionForCurrentDomain();
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
    }
    if (runs)
        intervalBegan();
}

/// The storm is over: every row must find its way now, of either company.
void World::calmDown() {
    server_.faultRate = 0;
    server_.isUnreachable = server_.isFailing = false;
    jobsUntilDeath_ = -1;
    platform_.permissions.screenRecording = true;
    server_.rejectsRefresh = false;
    const auto stop = [this] {
        if (!core_->appState.isAuthenticated())
            signIn();
        if (core_->sessionManager.interruptedSession())
            command([this] { leaveInterrupted(true); });
        command([this] { core_->sessionManager.stopTracking(); });
    };
    if (changesClock_ || changesZone_) {
        // Slots that lie in the future of a clock or zone set back wait for their moment: let it come.
        stop();
        platform_.timeline.jumpWallClock(86400 + jumped_);
        jumped_ += 86400 + jumped_;
    }
    for (int round = 0; round < 2 && complaints_.isEmpty(); ++round) {
        pass(700);
        touch();
        stop();
        pass(900);
        changeCompany();
        pass(600);
    }
    checkHour();
    if (const auto rows = sql("SELECT id FROM upload_queue"); !rows.isEmpty())
        complain("D: %1 rows are still queued after the calm", rows.size());
    const auto unsent =
        sql("SELECT rowid FROM activity_segments WHERE uploaded_at IS NULL "
            "AND active_seconds + non_idle_seconds + mouse_movements + keyboard_movements > 0");
    if (unsent.size() > 1)
        complain("D: %1 segments were never sent", unsent.size());
    // Pictures that no row was made for are found by the next launch.
    for (int company = 0; company < 2 && complaints_.isEmpty(); ++company) {
        endProcess();
        startProcess();
        pass(600);
        changeCompany();
    }
    // Those of a session whose start was refused for good wait until they age out.
    const auto isWanted = [this](const QString& path) {
        const QUuid session(QFileInfo(path).fileName().section(u'_', 0, 0));
        return server_.hasBegun(session) || !server_.refused["startSession"].contains(session);
    };
    const QStringList left = pictureFiles();
    if (const auto count = std::ranges::count_if(left, isWanted); count > 0)
        complain("S: %1 pictures lie there after the calm", count);
}
