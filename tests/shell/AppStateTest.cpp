// What the person may see: the launch read, the forced update, signing out, the manual update check.

#include "APIError.h"
#include "EngineFixture.h"
#include "LogCapture.h"
#include "UpdateCheck.h"

#include <gtest/gtest.h>

namespace {

/// The application state alone, over a launch read that answers when the test says so.
struct LaunchRead : testing::Test {
    EngineFixture services; // its machine, and the configuration service that the state needs
    SimulatedPlatform& machine = services.machine;
    QStringList evaluations;
    AppStateManager state{{services.core->remoteConfig, machine.information, machine.clock, machine.main,
                           machine.userInitiated, []() -> Task<bool> { co_return false; },
                           [this] { return machine.permissions.screenRecording; }}};

    static Task<> wait(AppStateManager& state, QStringList& order, QString name) {
        co_await state.awaitAuthRestore();
        order << name;
    }
    RemoteConfig demanding(const std::optional<QString>& version, const std::optional<QString>& url = {}) {
        RemoteConfig config;
        config.latestClientVersion = version;
        config.clientDownloadURL = url;
        return config;
    }
    void recordEvaluations(bool canSurface) {
        state.setForceUpdateEvaluated([this, canSurface](bool forced, bool surface) {
            evaluations << QString("%1%2").arg(int(forced)).arg(int(surface));
            return surface && canSurface;
        });
    }
};

struct SignedIn : testing::Test {
    EngineFixture world;
    AppStateManager& state = world.core->appState;

    const Alert& checkForUpdates() {
        spawn(checkForUpdatesFromMenu(world.core->appState, world.engine(), world.machine.desktop), "check");
        world.tick(1);
        return world.machine.desktop.alerts.back();
    }
};

} // namespace

TEST_F(LaunchRead, EndsOnceInEveryOrderOfAnswerAndPerson) {
    const struct {
        const char* what;
        std::function<void(AppStateManager&)> before; ///< What the person does while the read hangs.
        bool stored;
        bool authenticated;
    } cases[] = {
        {"tokens", [](AppStateManager&) {}, true, true},
        {"no tokens", [](AppStateManager&) {}, false, false},
        {"gave up, tokens came", [](AppStateManager& s) { s.abandonAuthRestore(); }, true, false},
        {"signed in, none came", [](AppStateManager& s) { s.setAuthenticated(true); }, false, true},
        {"thrown out, tokens came", [](AppStateManager& s) { s.applySessionInvalidated(); }, true, false},
    };
    for (const auto& c : cases) {
        for (const Seconds hangs : {0.5, 20.0}) {
            SCOPED_TRACE(testing::Message() << c.what << " after " << hangs << " s");
            QStringList order;
            Completion<bool> answer(machine.main);
            AppStateManager fresh({services.core->remoteConfig, machine.information, machine.clock,
                                   machine.main, machine.userInitiated,
                                   [&]() -> Task<bool> {
                                       const bool value = co_await answer;
                                       co_return value;
                                   },
                                   [] { return true; }});
            for (const char* name : {"a", "b", "c"})
                spawn(wait(fresh, order, QString::fromLatin1(name)), "wait");
            machine.timeline.advance(hangs);
            EXPECT_EQ(fresh.authRestoreIsSlow(), hangs > 8);
            EXPECT_TRUE(fresh.isRestoringSession()); // a slow read alone ends nothing
            EXPECT_TRUE(order.isEmpty());
            c.before(fresh);
            answer.complete(c.stored);
            machine.timeline.advance(20);
            EXPECT_FALSE(fresh.isRestoringSession());
            EXPECT_FALSE(fresh.authRestoreIsSlow());
            EXPECT_EQ(fresh.isAuthenticated(), c.authenticated);
            EXPECT_EQ(order, (QStringList{"a", "b", "c"}));
            spawn(wait(fresh, order, "late"), "wait");
            EXPECT_EQ(order.back(), "late"); // without suspending
        }
    }
}

TEST_F(LaunchRead, TellsOfAReadThatTookLong) {
    for (const Seconds took : {2.0, 2.5}) {
        LogCapture log;
        AppStateManager fresh({services.core->remoteConfig, machine.information, machine.clock, machine.main,
                               machine.userInitiated,
                               [&]() -> Task<bool> {
                                   co_await sleepFor(machine.userInitiated, took);
                                   co_return true;
                               },
                               [] { return false; }});
        machine.timeline.advance(3);
        EXPECT_EQ(log.contains("Keychain read took 2.5s — the user was probably asked to authorise access"),
                  took > 2);
        EXPECT_FALSE(fresh.hasRequiredPermissions());
    }
}

TEST_F(LaunchRead, DoesNothingMoreAfterItsEnd) {
    Completion<bool> answer(machine.main);
    {
        const AppStateManager fresh({services.core->remoteConfig, machine.information, machine.clock,
                                     machine.main, machine.userInitiated,
                                     [&]() -> Task<bool> {
                                         const bool value = co_await answer;
                                         co_return value;
                                     },
                                     [] { return true; }});
    }
    answer.complete(true);
    machine.timeline.advance(20); // the sanitizer watches
}

TEST_F(LaunchRead, DecidesTheForcedUpdateByTheMarketingVersion) {
    machine.information.values["CFBundleShortVersionString"] = "1.2.0";
    using Text = std::optional<QString>;
    const struct {
        Text version, url;
        bool forced;
        Text latest;
        const char* download;
    } cases[] = {
        {"1.2", {}, false, "1.2", ""},
        {" 1.2.1\n", "https://get.test/app", true, "1.2.1", "https://get.test/app"},
        {"1.2.1", {}, true, "1.2.1", ""},
        {"1.2.1", "", true, "1.2.1", ""},
        {"2", "http://[broken", true, "2", ""},
        {"1.1", "https://get.test/app", false, "1.1", ""},
        {"  \n", "https://get.test/app", false, {}, ""},
        {{}, {}, false, {}, ""},
    };
    for (const auto& c : cases) {
        state.publish(demanding(c.version, c.url));
        EXPECT_EQ(state.forceClientUpdate(), c.forced);
        EXPECT_EQ(state.forceUpdateLatestVersion(), c.latest);
        EXPECT_EQ(state.forceUpdateDownloadURL().value_or(QUrl()), QUrl(QString::fromLatin1(c.download)));
    }
    state.publish(demanding("9"));
    state.evaluateClientVersion(std::nullopt);
    EXPECT_FALSE(state.forceClientUpdate());
}

TEST_F(LaunchRead, SurfacesAForcedUpdateOnce) {
    recordEvaluations(true);
    for (const char* version : {"9", "9", "1", "9"})
        state.publish(demanding(QString::fromLatin1(version)));
    EXPECT_EQ(evaluations, (QStringList{"11", "10", "00", "11"}));
    evaluations.clear();
    state.applySessionInvalidated();
    state.publish(demanding("9"));
    EXPECT_EQ(evaluations, QStringList{"11"});
}

TEST_F(LaunchRead, SurfacesAForcedUpdateWhenTheWindowComesLater) {
    state.publish(demanding("9")); // nobody to tell
    recordEvaluations(false);
    state.publish(demanding("9")); // no window
    recordEvaluations(true);
    state.installWindowActions([] {}, [] {});
    state.installWindowActions([] {}, [] {});
    EXPECT_EQ(evaluations, (QStringList{"11", "11"}));
}

TEST_F(LaunchRead, AnnouncesChanges) {
    int changes = 0;
    QObject::connect(&state, &AppStateManager::changed, &state, [&] { ++changes; });
    state.recomputePermissions();
    state.setPendingMainTab(std::nullopt);
    EXPECT_EQ(changes, 0);
    machine.permissions.screenRecording = false;
    state.recomputePermissions();
    state.setPendingMainTab(MainTab::settings);
    state.publish(demanding("9"));
    EXPECT_EQ(changes, 3);
    EXPECT_FALSE(state.hasRequiredPermissions());
    EXPECT_EQ(state.pendingMainTab(), MainTab::settings);
}

TEST_F(SignedIn, TellsTheOutcomeOfTheUpdateCheck) {
    EXPECT_EQ(checkForUpdates().message, "You’re up to date.");
    EXPECT_EQ(world.machine.desktop.alerts.back().buttons, QStringList{"OK"});
    EXPECT_EQ(state.remoteConfig(), world.config);
    EXPECT_EQ(world.engine().config(), world.config);
    world.config.latestClientVersion = "9";
    EXPECT_EQ(checkForUpdates().message, "A newer version is available.");
    world.status = 500;
    EXPECT_EQ(checkForUpdates().message, "Failed to check for updates.");
    EXPECT_EQ(world.machine.desktop.alerts.back().informative,
              APIError::serverError(500).localizedDescription());
    state.applySignedOut();
    EXPECT_EQ(checkForUpdates().message, "Sign in to check for updates.");
}

TEST_F(SignedIn, DropsAConfigurationThatComesAfterSigningOut) {
    spawn([](AppStateManager& asked) -> Task<> { co_await asked.refreshRemoteConfigFromServer(); }(state),
          "refresh");
    state.applySignedOut();
    world.tick(1);
    EXPECT_FALSE(world.bodies("employees/config").empty());
    EXPECT_FALSE(state.remoteConfig());
}
