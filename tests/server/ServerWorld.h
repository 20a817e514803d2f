#pragma once

#include "platform/simulated/SimulatedPlatform.h"
#include "server/APIClient.h"
#include "server/APIEndpoints.h"
#include "server/AuthService.h"
#include "server/RemoteConfigService.h"
#include "storage/APITimeZoneResolver.h"
#include "storage/ApplicationFolder.h"
#include "storage/DomainStorage.h"
#include "storage/KeychainService.h"
#include "storage/PreferenceStores.h"
#include "tests/support/LogCapture.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

/// What became of a call; neither while it is pending.
template <typename T>
struct Outcome {
    std::optional<T> value;
    std::optional<APIError::Kind> failure;
    int statusCode = 0; ///< Of a `serverError`.
};

inline AuthTokens tokensNamed(const QString& name) {
    return {name + "-access-c4n4ry",        name + "-refresh-c4n4ry",    Date::since1970(1'800'000'000),
            Date::since1970(1'900'000'000), "2027-01-15T15:00:00+07:00", "2030-03-17 17:46:40"};
}

/// The members that hand out tokens of that name, of a refresh or a login.
inline QByteArray tokenMembers(const QByteArray& name) {
    return R"("access_token":")" + name + R"(-access-c4n4ry","refresh_token":")" + name +
           R"(-refresh-c4n4ry","token_type":"Bearer","expires_at":"2027-01-15T15:00:00+07:00",)"
           R"("refresh_expires_at":"2030-03-17 17:46:40")";
}

inline QByteArray wrapped(const QByteArray& members) {
    return R"({"data":{)" + members + "}}";
}

/// The part of the path below the API root.
inline QString pathOf(const URLRequest& request) {
    return request.url.path().section("/api/v1/", 1);
}

/// All of the folder's services in virtual time, wired as in the program. Every text in the tests that must never be
/// logged holds the word "c4n4ry".
struct ServerTest : testing::Test {
    using Kind = APIError::Kind;
    using Network = SimulatedURLSession;
    using Reply = Network::Reply;

    ServerTest() {
        auth.setSessionDidInvalidate([this] { ++sessionInvalidations; });
    }
    ~ServerTest() override { EXPECT_FALSE(log.contains("c4n4ry")) << qPrintable(log.lines().join('\n')); }

    void signIn(const QString& name) { keychain.saveAuthTokens(tokensNamed(name)); }
    std::optional<AuthTokens> tokens() { return keychain.getAuthTokens(); }
    /// Answers all requests with the same.
    void answer(const Reply& reply) {
        machine.urlSession.setServer([reply](const URLRequest&) { return reply; });
    }
    void pass(Seconds span) { machine.timeline.advance(span); }
    /// What became of the call within `span`.
    template <typename T>
    Outcome<T> outcomeOf(const Task<T>& call, Seconds span = 1) {
        pass(span);
        if (!call.isReady())
            return {};
        try {
            return {call.operator co_await().await_resume(), std::nullopt};
        } catch (const APIError& error) {
            return {std::nullopt, error.kind(), error.statusCode()};
        }
    }
    bool succeeds(Task<> call, Seconds span = 1) {
        return outcomeOf(call.then([] { return true; }), span).value.has_value();
    }
    std::optional<QString> preference(const char* key) const { return machine.preferences.string(key); }

    QTemporaryDir folder;
    LogCapture log;
    SimulatedPlatform machine{folder.path()};
    std::vector<URLRequest>& requests = machine.urlSession.requests;
    DomainStorage domain{machine.preferences};
    KeychainService keychain{machine.secrets};
    APIEndpoints endpoints{domain, machine.information};
    APITimeZoneResolver timeZones{machine.preferences, machine.clock};
    APIClient api{{machine.urlSession, endpoints, keychain, [this] { return auth.handleUnauthorized(); }},
                  machine.worker,
                  machine.main};
    AuthService auth{{api, endpoints, keychain, domain, machine.preferences, timeZones, machine.clock, machine.worker,
                      machine.main}};
    const QString ownFolder = ApplicationFolder::path(machine.information);
    RemoteConfigService remoteConfig{api,      auth, machine.preferences, machine.clock, machine.random, machine.worker,
                                     ownFolder};
    int sessionInvalidations = 0;
};
