// What the person may see: the launch read, the forced update, signing out, the manual update check.

#include "EngineFixture.h"
#include "UpdateCheck.h"

#include <gtest/gtest.h>

namespace {

struct AppState : testing::Test {
    EngineFixture world;
    SimulatedPlatform& machine = world.machine;
    AppStateManager& state = world.core->appState;

    std::unique_ptr<AppStateManager> restoring(std::function<Task<bool>()> read) {
        return std::make_unique<AppStateManager>(AppStateManager::Dependencies{
            world.core->remoteConfig, machine.information, machine.clock, machine.main, machine.userInitiated,
            std::move(read), [] { return true; }});
    }
    static Task<> wait(AppStateManager& state, QString& order, char name) {
        co_await state.awaitAuthRestore();
        order += QLatin1Char(name);
    }
    void demand(const std::optional<QString>& version, const std::optional<QString>& url = {}) {
        world.config.latestClientVersion = version;
        world.config.clientDownloadURL = url;
        state.publish(world.config);
    }
    const Alert& checkForUpdates() {
        spawn(checkForUpdatesFromMenu(state, world.engine(), machine.desktop), "check");
        world.tick(1);
        return machine.desktop.alerts.back();
    }
};

} // namespace

TEST_F(AppState, EndsTheLaunchReadOnceInEveryOrderOfAnswerAndPerson) {
    const struct {
        std::function<void(AppStateManager&)> meanwhile;
        bool stored, authenticated;
    } cases[] = {
        {[](AppStateManager&) {}, true, true},
        {[](AppStateManager&) {}, false, false},
        {[](AppStateManager& gaveUp) { gaveUp.abandonAuthRestore(); }, true, false},
        {[](AppStateManager& signedIn) { signedIn.setAuthenticated(true); }, false, true},
        {[](AppStateManager& thrownOut) { thrownOut.applySessionInvalidated(); }, true, false},
    };
    for (const auto& c : cases) {
        for (const Seconds hangs : {2.0, 20.0}) {
            SCOPED_TRACE(testing::Message() << "case " << &c - cases << " after " << hangs << " s");
            QString order;
            auto fresh = restoring([&]() -> Task<bool> {
                co_await sleepFor(machine.userInitiated, hangs);
                co_return c.stored;
            });
            for (const char name : {'a', 'b', 'c'})
                spawn(wait(*fresh, order, name), "wait");
            world.tick(hangs - 0.5);
            EXPECT_EQ(fresh->authRestoreIsSlow(), hangs > 8);
            EXPECT_TRUE(fresh->isRestoringSession() && order.isEmpty()); // a slow read alone ends nothing
            c.meanwhile(*fresh);
            world.tick(20);
            EXPECT_FALSE(fresh->isRestoringSession() || fresh->authRestoreIsSlow());
            EXPECT_EQ(fresh->isAuthenticated(), c.authenticated);
            spawn(wait(*fresh, order, 'd'), "without suspending");
            EXPECT_EQ(order, "abcd");
        }
    }
}

TEST_F(AppState, DecidesTheForcedUpdateByTheMarketingVersion) {
    machine.information.values["CFBundleShortVersionString"] = "1.2.0";
    using Text = std::optional<QString>;
    const char* url = "https://get.test/app";
    for (const auto& [version, link, forced, latest, download] :
         {std::tuple<Text, Text, bool, Text, QString>{"1.2", url, false, "1.2", ""},
          {" 1.2.1\n", url, true, "1.2.1", url},
          {"1.10", {}, true, "1.10", ""},
          {"2", "http://[broken", true, "2", ""},
          {{}, {}, false, {}, ""}}) {
        demand(version, link);
        EXPECT_EQ(state.forceClientUpdate(), forced);
        EXPECT_EQ(state.forceUpdateLatestVersion(), latest);
        EXPECT_EQ(state.forceUpdateDownloadURL().value_or(QUrl()), QUrl(download));
    }
}

TEST_F(AppState, TellsTheOutcomeOfTheUpdateCheck) {
    EXPECT_EQ(checkForUpdates().message, "You’re up to date.");
    EXPECT_EQ(world.engine().config(), world.config);
    world.config.latestClientVersion = "9";
    EXPECT_EQ(checkForUpdates().message, "A newer version is available.");
    world.status = 500;
    EXPECT_EQ(checkForUpdates().message, "Failed to check for updates.");
    world.status = 200;
    spawn([](AppStateManager& asked) -> Task<> { co_await asked.refreshRemoteConfigFromServer(); }(state),
          "refresh");
    state.applySignedOut();
    EXPECT_EQ(checkForUpdates().message, "Sign in to check for updates.");
    EXPECT_FALSE(state.remoteConfig()); // what comes after signing out is another user's
}
