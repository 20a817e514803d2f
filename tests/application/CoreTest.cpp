#include "application/UpdateCheck.h"
#include "model/CaptureFileName.h"
#include "storage/CaptureFolder.h"
#include "storage/PreferenceStores.h"
#include "tests/support/EngineFixture.h"

using namespace Qt::StringLiterals;

namespace {
struct Core : testing::Test, EngineFixture {
    AppStateManager& state() { return core->appState; }
};
} // namespace

TEST_F(Core, BootsFromTheCachedConfigurationAndRefreshesIt) {
    config.appTimezone = "Asia/Tokyo";
    tick(2500);
    machine.preferences.remove(PreferenceKey::apiTimezoneIdentifier);
    die();
    core = std::make_unique<TimeTrackerCore>(machine.platform());
    EXPECT_EQ(core->timeZones.storedTimezoneIdentifier(), "Asia/Tokyo"); // before anything has run
    EXPECT_EQ(state().remoteConfig(), config);
    EXPECT_EQ(engine().config(), config);
    machine.timeline.settle();
    engine().applyConfig(std::nullopt);
    EXPECT_EQ(core->timeZones.storedTimezoneIdentifier(), "Asia/Tokyo"); // none changes nothing
    config.idleMinutesThreshold = 9;
    tick(2500);
    EXPECT_EQ(engine().config(), config);
}

TEST_F(Core, SendsNothingOverPlainHttpToAnotherMachine) {
    signIn("http://acme.test/api/v1/");
    machine.urlSession.requests.clear();
    start();
    typeFor(1300); // queue, direct heartbeats, refresh of the configuration
    EXPECT_TRUE(machine.urlSession.requests.empty());
    EXPECT_EQ(sql("SELECT DISTINCT retry_count FROM upload_queue"), QStringList("0"));
}

TEST_F(Core, ForgetsAtLaunchWhatIsNoSignIn) {
    const struct {
        const char* root; ///< Null: none.
        bool hasTokens, hasProfile, isSignIn, keepsRoot;
    } cases[] = {{"https://acme.test/api/v1/", true, false, true, true},
                 {nullptr, true, true, false, false},
                 {"http://acme.test/api/v1/", true, true, false, false},
                 {"https://acme.test/api/v1/", false, true, false, false},
                 {"https://acme.test/api/v1/", false, false, false, true}}; // of an installation
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        die();
        signIn();
        DomainStorage(machine.preferences).setBaseURL(c.root ? std::optional(QUrl(QString(c.root))) : std::nullopt);
        if (!c.hasTokens)
            KeychainService(machine.secrets).deleteAuthTokens();
        UserProfileStorage::set(c.hasProfile ? std::optional<QString>("Ann") : std::nullopt, {}, machine.preferences);
        launch();
        EXPECT_FALSE(state().isRestoringSession());
        EXPECT_EQ(state().isAuthenticated(), c.isSignIn);
        EXPECT_EQ(core->keychain.getAuthTokens().has_value(), c.isSignIn);
        EXPECT_EQ(core->domain.getBaseURL().has_value(), c.keepsRoot);
    }
}

TEST_F(Core, FetchesAConfigurationThatIsNotCachedUntilItIsThere) {
    status = 500;
    QFile::remove(core->remoteConfig.fileURL());
    restart();
    tick(300);
    EXPECT_FALSE(state().remoteConfig());
    status = 200;
    tick(76);
    EXPECT_EQ(state().remoteConfig(), config);
    EXPECT_EQ(engine().config(), config);
}

TEST_F(Core, WaitsForALockedKeyringAndAsksForItsUnlockOnce) {
    start();
    die(); // with a session to report
    machine.secrets.isLocked = true;
    machine.secrets.prompts = 0;
    launch();
    tick(600);
    EXPECT_TRUE(state().authRestoreIsSlow());
    EXPECT_TRUE(state().isRestoringSession()); // never taken for "signed out"
    EXPECT_EQ(machine.secrets.prompts, 1);
    machine.secrets.isLocked = false;
    tick(2);
    EXPECT_TRUE(state().isAuthenticated());
}

TEST_F(Core, RaisesADismissedPromptAgainWhenAskedTo) {
    die();
    machine.secrets.isLocked = true;
    machine.secrets.prompts = 0;
    launch();
    tick(3);
    EXPECT_TRUE(state().keyringIsLocked());
    machine.secrets.unlocksWhenAsked = true;
    core->storedSignIn.askToUnlock();
    tick(2);
    EXPECT_TRUE(state().isAuthenticated() && !state().keyringIsLocked());
    EXPECT_EQ(machine.secrets.prompts, 2);
}

TEST_F(Core, OffersTheFormWithoutAKeyringAndWaitsForOneAllTheSame) {
    die();
    machine.secrets.isAbsent = true;
    launch();
    tick(7);
    EXPECT_TRUE(state().isRestoringVisibly());
    tick(2);
    EXPECT_FALSE(state().isRestoringVisibly() || state().isAuthenticated());
    machine.secrets.isAbsent = false;
    machine.urlSession.requests.clear();
    tick(2);
    EXPECT_TRUE(state().isAuthenticated());
    config.idleMinutesThreshold = 9;
    tick(2500);
    EXPECT_EQ(engine().config(), config); // the refresh loop runs
}

TEST_F(Core, TakesAKeyringThatStopsAnsweringForBeingOffline) {
    MemorySecretStore& keyring = machine.secrets;
    for (const auto& [isLocked, isUnlockedWhenAsked, prompts] :
         {std::tuple{true, false, 1}, {false, false, 0}, {true, true, 1}}) {
        keyring.prompts = 0;
        keyring.unlocksWhenAsked = isUnlockedWhenAsked;
        keyring.isLocked = isLocked;
        keyring.isBroken = !isLocked;
        machine.urlSession.requests.clear();
        start();
        typeFor(1300); // queue, direct heartbeats, refresh of the configuration
        EXPECT_EQ(keyring.prompts, prompts);
        EXPECT_EQ(machine.urlSession.requests.empty(), !isUnlockedWhenAsked);
        EXPECT_TRUE(state().isAuthenticated() && engine().isTracking());
        if (!isUnlockedWhenAsked) {
            EXPECT_EQ(sql("SELECT DISTINCT retry_count FROM upload_queue"), QStringList("0"));
        }
        keyring.isLocked = keyring.isBroken = false;
        tick(130);
        engine().stopTracking();
        tick(1);
        EXPECT_TRUE(sql("SELECT type FROM upload_queue").isEmpty());
        for (const URLRequest& request : machine.urlSession.requests)
            EXPECT_EQ(request.header("Authorization"), "Bearer access");
    }
}

TEST_F(Core, TakesAKeyringThatStopsAnsweringBeforeTheRefreshForBeingOffline) {
    machine.urlSession.setServer([&](const URLRequest&) {
        machine.secrets.isBroken = true;
        return SimulatedURLSession::answer(401);
    });
    start();
    tick(1);
    EXPECT_EQ(sql("SELECT status, retry_count FROM upload_queue"), QStringList("failed|0"));
    EXPECT_TRUE(state().isAuthenticated());
}

TEST_F(Core, StopsTheSessionThatAnotherDeviceTookOver) {
    start();
    typeFor(59);
    status = 409;
    typeFor(2);
    EXPECT_EQ(message(), "Session was resumed on another device.");
    ASSERT_EQ(machine.desktop.alerts.size(), 1U);
    EXPECT_EQ(machine.desktop.alerts.back().message, "Session resumed on another device");
    EXPECT_EQ(machine.desktop.activations, 1);
}

TEST_F(Core, TellsTheStateWhichPicturesWentUnsent) {
    const QString captures = CaptureFolder::capturesDirectory(machine.information, core->domain.domainKey());
    EXPECT_TRUE(QDir().mkpath(captures));
    for (int i = 0; i < 502; ++i) {
        QFile picture(captures + u"/%1.jpg"_s.arg(i));
        ASSERT_TRUE(picture.open(QFile::WriteOnly));
    }
    start();
    typeFor(62);
    EXPECT_EQ(state().uploadNotices().prunedPictures, 3);
}

TEST_F(Core, GoesOnTrackingWhenAnEarlierSessionWasTakenOver) {
    QUuid earlier;
    machine.urlSession.setServer([&](const URLRequest& request) {
        return SimulatedURLSession::answer(request.body.contains(uuidText(earlier).toUtf8()) ? 409 : 200);
    });
    start();
    tick(90);
    earlier = session().id;
    engine().stopTracking();
    start();
    tick(90);
    EXPECT_TRUE(engine().isTracking());
    EXPECT_TRUE(machine.desktop.alerts.empty());
    const QUuid running = session().id;
    engine().stopTracking();
    tick(1);
    EXPECT_EQ(bodies("sessions/heartbeat").back().value("session_uuid"), uuidText(running));
    EXPECT_TRUE(sql("SELECT type FROM upload_queue").isEmpty());
}

TEST_F(Core, EndsEverythingWhenTheSignInIsRejected) {
    applyConfig();
    bool wasToldWhenAllWasDone = false;
    QObject::connect(&core->company, &CompanyAccount::authSessionDidInvalidate, core.get(),
                     [&] { wasToldWhenAllWasDone = !engine().isTracking(); });
    start();
    status = 401;
    typeFor(65); // each road tries its one refresh, which is granted
    EXPECT_TRUE(engine().isTracking());
    EXPECT_FALSE(bodies("authentication/refresh").empty());
    refreshStatus = 401;
    tick(2500);
    EXPECT_TRUE(wasToldWhenAllWasDone);
    EXPECT_FALSE(state().isAuthenticated() || state().remoteConfig() || engine().config());
    EXPECT_EQ(message(), "Tracking stopped: Session ended");
    machine.urlSession.requests.clear();
    tick(5000);
    EXPECT_TRUE(machine.urlSession.requests.empty()); // the refresh loop ended, nothing is due
    status = refreshStatus = 200;
    signIn();
    tick(60);
    const auto reports = bodies("sessions/heartbeat"); // the session's end waited for its company
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0]["status"], "completed");
    restart();
    EXPECT_FALSE(engine().interruptedSession()); // it is over for good, and was worked for this company
    EXPECT_NEAR(engine().todayTotalSeconds(), 65, 2);
}

TEST_F(Core, EndsTheSessionsOfARejectedSignInByTheRulesOfTheirCompany) {
    config.discardIdleTime = false;
    config.appTimezone = "Asia/Tokyo"; // where midnight is at 15:00 of the machine's day
    for (const bool isPending : {false, true}) {
        applyConfig();
        jumpTo("2024-05-15T14:00:00Z");
        start();
        typeFor(100);
        tick(310); // pauses as idle
        if (isPending) {
            restart();
            applyConfig();
            jumpTo("2024-05-15T18:00:00Z");
        }
        status = refreshStatus = 401;
        machine.urlSession.requests.clear();
        spawn(state().refreshRemoteConfigFromServer(), "refused");
        tick(5);
        EXPECT_FALSE(engine().currentSession() || engine().interruptedSession() || engine().config());
        EXPECT_TRUE(activeSessions().empty());
        EXPECT_NEAR(double(finishedSessions().back().reportedTotalSeconds.value_or(0)), 400, 10);
        ASSERT_GE(machine.urlSession.requests.size(), 2U);
        for (auto sent = machine.urlSession.requests.begin() + 2; sent != machine.urlSession.requests.end(); ++sent)
            EXPECT_EQ(sent->header("Authorization"), "") << "the rejected token goes nowhere";
        EXPECT_EQ(core->domain.getBaseURL(), std::nullopt);
        EXPECT_EQ(core->timeZones.storedTimezoneIdentifier(), "UTC");
        status = refreshStatus = 200;
        signIn();
        state().setAuthenticated(true);
        engine().recoverInterruptedSessionForCurrentDomain();
    }
    EXPECT_EQ(finishedSessions().size(), 2U);
}

TEST_F(Core, ShowsNoTodayTotalOfACompanyThatWasLeft) {
    todayTotal = ServerTodayTotal{20'000, "2024-05-15"};
    for (const bool isLeft : {true, false}) {
        start();
        machine.timeline.step(0); // the start is under way
        if (isLeft)
            signIn("https://other.test/api/v1/");
        tick(1);
        EXPECT_EQ(engine().todayTotalSeconds() >= 20'000, !isLeft);
        engine().stopTracking();
        tick(1);
    }
}

TEST_F(Core, EnforcesAForcedUpdateAndAsksNothingBehindItsWall) {
    config.latestClientVersion = "9";
    for (const int raised : {0, 1, 1}) { // without a window, with one, and once only
        start();
        applyConfig();
        EXPECT_EQ(message(), "Tracking stopped: Update required");
        EXPECT_EQ(machine.desktop.windowsRaised, raised);
        machine.desktop.hasWindow = true;
    }
    start(); // a session that the wall did not stop
    tick(305);
    machine.input.happen(InputEventType::keyDown);
    tick(5);
    EXPECT_TRUE(engine().needsIdleDecision());
    EXPECT_TRUE(machine.desktop.alerts.empty());
}

TEST_F(Core, EndsTheLaunchReadOnceInEveryOrderOfAnswerAndPerson) {
    const std::tuple<std::function<void(AppStateManager&)>, bool, bool> cases[] = {
        {[](const auto&) {}, true, true},
        {[](const auto&) {}, false, false},
        {&AppStateManager::abandonAuthRestore, true, false},
        {[](auto& signedIn) { signedIn.setAuthenticated(true); }, false, true},
        {&AppStateManager::applySessionInvalidated, true, false},
    };
    for (const auto& c : cases) {
        const auto& [meanwhile, isStored, isAuthenticated] = c;
        for (const Seconds hangs : {2.0, 20.0}) {
            SCOPED_TRACE(testing::Message() << "case " << &c - cases << " after " << hangs << " s");
            const auto read = [&, answer = isStored]() -> Task<bool> {
                co_await sleepFor(machine.userInitiated, hangs);
                co_return answer;
            };
            AppStateManager fresh({core->remoteConfig, machine.information, machine.clock, machine.main,
                                   machine.userInitiated, read, [] { return true; }});
            QString order;
            const auto wait = [&](char name) -> Task<> {
                co_await fresh.awaitAuthRestore();
                order += QLatin1Char(name);
            };
            for (const char name : {'a', 'b', 'c'})
                spawn(wait(name), "wait");
            tick(hangs - 0.5);
            EXPECT_EQ(fresh.authRestoreIsSlow(), hangs > 8);
            EXPECT_TRUE(fresh.isRestoringSession() && order.isEmpty()); // a slow read alone ends nothing
            meanwhile(fresh);
            tick(20);
            EXPECT_FALSE(fresh.isRestoringSession() || fresh.authRestoreIsSlow());
            EXPECT_EQ(fresh.isAuthenticated(), isAuthenticated);
            spawn(wait('d'), "without suspending");
            EXPECT_EQ(order, "abcd");
        }
    }
}

TEST_F(Core, DecidesTheForcedUpdateByTheMarketingVersion) {
    machine.information.values["CFBundleShortVersionString"] = "1.2.0";
    using Text = std::optional<QString>;
    const char* url = "https://get.test/app";
    for (const auto& [version, link, forced, latest, download] :
         {std::tuple<Text, Text, bool, Text, QString>{"1.2", url, false, "1.2", ""},
          {" 1.2.1\n", url, true, "1.2.1", url},
          {"1.10", {}, true, "1.10", ""},
          {"2", "http://[broken", true, "2", ""},
          {{}, {}, false, {}, ""}}) {
        config.latestClientVersion = version;
        config.clientDownloadURL = link;
        state().publish(config);
        EXPECT_EQ(state().forceClientUpdate(), forced);
        EXPECT_EQ(state().forceUpdateLatestVersion(), latest);
        EXPECT_EQ(state().forceUpdateDownloadURL().value_or(QUrl()), QUrl(download));
    }
}

TEST_F(Core, TellsTheOutcomeOfTheUpdateCheck) {
    const auto outcome = [&] {
        spawn(checkForUpdatesFromMenu(state(), engine(), machine.desktop), "check");
        tick(1);
        return machine.desktop.alerts.back().message;
    };
    EXPECT_EQ(outcome(), "You’re up to date.");
    EXPECT_EQ(engine().config(), config);
    config.latestClientVersion = "9";
    EXPECT_EQ(outcome(), "A newer version is available.");
    status = 500;
    EXPECT_EQ(outcome(), "Failed to check for updates.");
    status = 200;
    spawn(checkForUpdatesFromMenu(state(), engine(), machine.desktop), "check");
    state().applySignedOut();
    tick(1);
    EXPECT_EQ(machine.desktop.alerts.back().message, "Sign in to check for updates.");
    EXPECT_EQ(outcome(), "Sign in to check for updates.");
    EXPECT_FALSE(state().remoteConfig()); // what comes after signing out is another user's
}

TEST_F(Core, SendsWhatOneUserLeftOnlyWithThatUsersNextSignIn) {
    const auto signInAs = [this](const QString& url, const QString& user) {
        signIn(url, user);
        core->company.companyChanged();
        tick(200);
    };
    const QString acme = "https://acme.test/api/v1/";
    signInAs(acme, "ann@acme.test");
    start();
    typeFor(500);
    status = 503;
    typeFor(200); // a slot ends
    const QUuid id = session().id;
    engine().stopTracking();
    status = 200;
    machine.urlSession.requests.clear();
    for (const auto& [url, user] : {std::pair(acme, "bob@acme.test"),
                                    {u"https://acme.test:8443/api/v1/"_s, "ann@acme.test"},
                                    {u"https://acme.test/other/api/v1/"_s, "ann@acme.test"}}) {
        signInAs(url, user);
        EXPECT_TRUE(machine.urlSession.requests.empty()) << user;
        EXPECT_EQ(engine().todayTotalSeconds(), 0);
    }
    signInAs(acme, "Ann@acme.test");
    tick(4000); // past every delay
    EXPECT_EQ(bodies("sessions/heartbeat").size(), 1U);
    EXPECT_FALSE(bodies("segments/batch").empty());
    EXPECT_EQ(sql("SELECT count(*) FROM upload_queue"), QStringList("0"));
    EXPECT_EQ(finishedSessions().back().id, id);
}

TEST_F(Core, GivesWhatAnEarlierVersionStoredToTheRememberedUser) {
    status = 503;
    start();
    typeFor(700);
    engine().stopTracking();
    start();
    die();
    RememberedLoginStorage::save("ann@acme.test", machine.preferences);
    const auto pictures = [this](const QString& company) {
        return QDir(directory.filePath("Velmora TimeTracker/captures/" + company)).entryList(QDir::Files).size();
    };
    EXPECT_GT(pictures("acme.test"), 0);
    launch();
    EXPECT_EQ(pictures("acme.test"), 0);
    EXPECT_GT(pictures("acme.test ann@acme.test"), 0);
    EXPECT_TRUE(engine().interruptedSession());
    for (const char* table : {"sessions", "session_history", "upload_queue", "activity_segments"})
        EXPECT_EQ(sql(QByteArray("SELECT DISTINCT domain_key FROM ") + table), QStringList("acme.test ann@acme.test"))
            << table;
    status = 200;
    engine().resumeInterruptedSession();
    engine().stopTracking();
    tick(4000);
    EXPECT_EQ(pictures("acme.test ann@acme.test"), 0) << "found under their new names and sent";
}

TEST_F(Core, MovesPicturesOfAnEarlierVersionWhateverItsHostIsCalled) {
    die();
    signIn("https://[::1]:8443/api/v1/", "ann@acme.test");
    const QString former = directory.filePath("Velmora TimeTracker/captures/::1/");
    const QString name = CaptureFileName::format(QUuid::createUuid(), "x", 0);
    QFile picture(former + name);
    ASSERT_TRUE(QDir().mkpath(former) && picture.open(QFile::WriteOnly));
    picture.close();
    status = 503;
    launch();
    const QString moved = CaptureFolder::capturesDirectory(machine.information, core->domain.domainKey()) + u'/' + name;
    EXPECT_TRUE(QFile::exists(moved));
    EXPECT_EQ(sql("SELECT file_path FROM upload_queue WHERE type = 'screenshot'"), QStringList(moved));
}
