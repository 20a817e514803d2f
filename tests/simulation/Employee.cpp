#include "World.h"

#include <cmath>

/// What the employee does.

void World::touch() {
    lastInputUptime_ = platform_.timeline.uptime();
    const int events = oneIn(3) ? 5 : 1;
    if (seen_.isRunning()) {
        lastCountedInput_ = real();
        known_[seen_.session].events += events;
        known_[seen_.session].unstored += events;
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
    if (changesCompany_ && oneIn(12))
        workIntoTheChange();
    if (untilMidnight() < 3600 && !oneIn(3)) {
        useItAtMidnight();
        return;
    }
    if (oneIn(3))
        server_.isUnreachable = false; // most outages are short
    switch (number(0, 17)) {
    case 0:
        pass(between(200, 1500)); // away from the desk
        touch();
        jobsUntilPress_ = number(0, 20);
        pass(8);
        jobsUntilPress_ = -1;
        break;
    case 1:
        sleepMachine(between(30, 7200));
        break;
    case 2:
        server_.isUnreachable = !server_.isUnreachable && oneIn(2);
        server_.isFailing = !server_.isFailing && oneIn(3);
        countedFailures_ = 0;
        break;
    case 3:
        if (oneIn(3) && jobsUntilDeath_ < 0) {
            jobsUntilDeath_ = number(0, 4000);
        } else if (oneIn(3)) {
            quit();
            platform_.timeline.advance(between(0, 600));
            startProcess();
        }
        break;
    case 4:
        changeSettings();
        break;
    case 5:
        if (oneIn(3) && seen_.isTracking)
            takeOver();
        break;
    case 6:
        platform_.permissions.screenRecording = !oneIn(8);
        platform_.displays.listError = oneIn(3) ? std::optional("Maximum number of clients reached") : std::nullopt;
        break;
    case 7:
        if (changesClock_ && oneIn(3))
            sleepOrSetClock(0, true);
        break;
    case 8:
        if (oneIn(2)) {
            server_.expireTokens();
            server_.rejectsRefresh = oneIn(4);
        }
        break;
    case 9:
        if (oneIn(3))
            workInBits();
        break;
    case 10:
        if (oneIn(3))
            pressWhileBusy();
        break;
    case 11:
        if (oneIn(3))
            workWithoutKeyring();
        break;
    case 12:
        if (seen_.isTracking)
            server_.stumblesOver.insert(seen_.session);
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
    start();
    if (oneIn(3) && untilMidnight() > 600) {
        command([this] { core_->sessionManager.stopTracking(); });
        start(); // a session of the day's last minutes, which mostly ends in them
        workFor(untilMidnight() - between(5, 500), 12);
        command([this] { press(between(0.1, 0.14)); });
        return;
    }
    if (oneIn(2)) {
        pass(untilMidnight() - 15);
        touch(); // idle until now, perhaps
        pass(untilMidnight() - 5);
    } else {
        workFor(untilMidnight() - 15, 12);
    }
    if (untilMidnight() > 60)
        return; // the process died, and midnight passed
    if (oneIn(3)) {
        pass(untilMidnight() + 30); // a question stays open
        return;
    }
    pass(untilMidnight() + between(0, tickPeriod));
    if (oneIn(2))
        sleepMachine(between(30, 7200));
    else if (seen_.isTracking)
        command([this] { press(between(0, 0.14)); });
}

void World::start() {
    if (!seen_.isTracking)
        command([this] { press(0.1); });
}

/// One of the buttons that the screen offers, or none.
void World::press(double chosen) {
    if (!core_->appState.isAuthenticated())
        return; // the sign-in screen shows
    SessionManager& engine = core_->sessionManager;
    if (engine.interruptedSession()) {
        leaveInterrupted(chosen < 0.6);
    } else if (!engine.isTracking()) {
        if (chosen < 0.7) {
            platform_.permissions.screenRecording = true;
            lastCountedInput_.reset();
            engine.startTracking(chosen < 0.4 ? std::optional(server_.config.projects.front()) : std::nullopt);
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

/// For an hour the pauses come more often than the pictures.
void World::workInBits() {
    SessionManager& engine = core_->sessionManager;
    const double until = real() + 3600;
    while (real() < until && complaints_.isEmpty() && &engine == &core_->sessionManager && seen_.isRunning()) {
        workFor(between(20, 55), 12);
        command([&] { core_->sessionManager.pauseTracking(); });
        pass(between(0.5, 2));
        if (seen_.isTracking && !seen_.isIdle)
            command([&] { core_->sessionManager.resumeTracking(); });
    }
}

AuthTokens World::tokens() const {
    return {QString::fromLatin1(server_.accessToken(account_)),
            QString::fromLatin1(ModelServer::refreshToken(account_)),
            Date{},
            Date{},
            "2099-01-01T00:00:00Z",
            "2099-01-01T00:00:00Z"};
}

/// Before the program's first launch.
void World::storeSignIn() {
    DomainStorage domain(platform_.preferences);
    domain.setUser(accounts[account_].user);
    domain.setBaseURL(QUrl(accounts[account_].url()));
    KeychainService(platform_.secrets).saveAuthTokens(tokens());
}

/// What the sign-in screen does once the server let the employee in.
void World::signIn() {
    ++happened_["sign-in"];
    platform_.secrets.isBroken = false;
    server_.rejectsRefresh = false;
    isSigningIn_ = true;
    spawn(core_->auth.selectCompany(accounts[account_].url(), tokens(), accounts[account_].user), "selection");
    pass(0);
    spawn(finishSignIn(), "sign-in");
    pass(2);
}

/// It takes the cached configuration when it gets no other.
Task<> World::finishSignIn() {
    std::optional<RemoteConfig> config;
    try {
        config = co_await core_->remoteConfig.fetchConfig();
    } catch (const APIError&) {
        config = core_->remoteConfig.cachedConfig();
    }
    if (!config)
        co_return;
    command([&] { core_->company.signedIn(*config); });
    isSigningIn_ = false;
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
        command([&] { core_->company.apply(config); });
}

/// As after a sign-in that is over, with requests of it under way.
void World::changeCompany() {
    if (core_->sessionManager.isTracking())
        return; // one left behind by a crash waits for its company
    ++happened_["company change"];
    account_ = (account_ + 1) % static_cast<int>(std::size(accounts));
    core_->appState.applySessionInvalidated();
    core_->sessionManager.applyConfig(std::nullopt);
    signIn();
}

/// What is sent last is answered after the change.
void World::workIntoTheChange() {
    start();
    workFor(90, 12);
    if (oneIn(2))
        server_.expireTokens();
    if (oneIn(2))
        spawn(core_->appState.refreshRemoteConfigFromServer(), "update check");
    const bool isBusy = oneIn(3); // then the end of the session is written after it, too
    if (isBusy)
        holdDatabase();
    command([this] { core_->sessionManager.stopTracking(); });
    pass(0.02);
    changeCompany();
    if (isBusy)
        releaseDatabase();
}

/// The storm is over: every row must find its way now, of either company.
void World::calmDown() {
    server_.faultRate = 0;
    server_.isUnreachable = server_.isFailing = false;
    server_.stumblesOver.clear();
    platform_.secrets.isBroken = false;
    platform_.displays.listError.reset();
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
    for (std::size_t round = 0; round < std::size(accounts) && complaints_.isEmpty(); ++round) {
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
    const auto unsent = sql("SELECT rowid FROM activity_segments WHERE uploaded_at IS NULL "
                            "AND active_seconds + non_idle_seconds + mouse_movements + keyboard_movements > 0");
    if (unsent.size() > 1)
        complain("D: %1 segments were never sent", unsent.size());
    // Pictures that no row was made for are found by the next launch.
    for (std::size_t account = 0; account < std::size(accounts) && complaints_.isEmpty(); ++account) {
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
    if (const auto halves = pictureFiles("*.jpg.*"); !halves.isEmpty())
        complain("S: %1 half-written pictures lie there after the calm", halves.size());
}
