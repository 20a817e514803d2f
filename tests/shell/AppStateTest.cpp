#include "EngineFixture.h"
#include "UpdateCheck.h"

#include <gtest/gtest.h>

namespace {

struct AppState : testing::Test, EngineFixture {
    AppStateManager& state = core->appState;

    const Alert& checkForUpdates() {
        spawn(checkForUpdatesFromMenu(state, engine(), machine.desktop), "check");
        tick(1);
        return machine.desktop.alerts.back();
    }
};

} // namespace

TEST_F(AppState, EndsTheLaunchReadOnceInEveryOrderOfAnswerAndPerson) {
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
        config.latestClientVersion = version;
        config.clientDownloadURL = link;
        state.publish(config);
        EXPECT_EQ(state.forceClientUpdate(), forced);
        EXPECT_EQ(state.forceUpdateLatestVersion(), latest);
        EXPECT_EQ(state.forceUpdateDownloadURL().value_or(QUrl()), QUrl(download));
    }
}

TEST_F(AppState, TellsTheOutcomeOfTheUpdateCheck) {
    EXPECT_EQ(checkForUpdates().message, "You’re up to date.");
    EXPECT_EQ(engine().config(), config);
    config.latestClientVersion = "9";
    EXPECT_EQ(checkForUpdates().message, "A newer version is available.");
    status = 500;
    EXPECT_EQ(checkForUpdates().message, "Failed to check for updates.");
    status = 200;
    spawn(state.refreshRemoteConfigFromServer(), "refresh");
    state.applySignedOut();
    EXPECT_EQ(checkForUpdates().message, "Sign in to check for updates.");
    EXPECT_FALSE(state.remoteConfig()); // what comes after signing out is another user's
}
