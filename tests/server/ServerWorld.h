#pragma once

#include "APIClient.h"
#include "APIEndpoints.h"
#include "APITimeZoneResolver.h"
#include "ApplicationFolder.h"
#include "AuthService.h"
#include "DomainStorage.h"
#include "Json.h"
#include "KeychainService.h"
#include "LogCapture.h"
#include "PreferenceStores.h"
#include "RemoteConfigService.h"
#include "SimulatedPlatform.h"

#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <optional>

/// What became of a call; neither while it is pending.
template <typename T>
struct Outcome {
    std::optional<T> value;
    std::optional<APIError::Kind> failure;
    int statusCode = 0; ///< Of a `serverError`.
};

/// The outcome of a running call, filled in when the call ends.
template <typename T>
std::shared_ptr<const Outcome<T>> started(Task<T> task) {
    const auto outcome = std::make_shared<Outcome<T>>();
    const auto follow = [](Task<T> followed, std::shared_ptr<Outcome<T>> into) -> Task<> {
        try {
            into->value = co_await std::move(followed);
        } catch (const APIError& error) {
            into->failure = error.kind();
            into->statusCode = error.statusCode();
        }
    };
    follow(std::move(task), outcome);
    return outcome;
}

/// A call without a result, so that its success shows.
inline Task<bool> succeeding(Task<> task) {
    co_await std::move(task);
    co_return true;
}

/// All of the folder's services on one machine, wired as in the program.
struct Services {
    explicit Services(SimulatedPlatform& machine)
        : domain(machine.preferences)
        , keychain(machine.secrets)
        , endpoints(domain, machine.information)
        , timeZones(machine.preferences, machine.clock)
        , api(machine.urlSession, endpoints, keychain, machine.worker, machine.main)
        , auth({api, keychain, domain, machine.preferences, timeZones, machine.clock, machine.worker,
                machine.main})
        , remoteConfig(api, machine.preferences, machine.clock, machine.random, machine.worker,
                       ApplicationFolder::path(machine.information)) {
        auth.setSessionDidInvalidate([this] { ++sessionInvalidations; });
        api.setUnauthorizedHandler([this]() -> Task<bool> {
            const std::optional<AuthTokens> tokens = co_await auth.handleUnauthorized();
            co_return tokens.has_value();
        });
    }

    DomainStorage domain;
    KeychainService keychain;
    APIEndpoints endpoints;
    APITimeZoneResolver timeZones;
    APIClient api;
    AuthService auth;
    RemoteConfigService remoteConfig;
    int sessionInvalidations = 0;
};

/// Every text in the tests that must never be logged holds this word.
inline constexpr auto secretWord = "c4n4ry";

inline AuthTokens tokensNamed(const QString& name) {
    return {name + "-access-" + secretWord, name + "-refresh-" + secretWord, Date::since1970(1'800'000'000),
            Date::since1970(1'900'000'000), "2027-01-15T08:00:00Z",          "2030-03-17 17:46:40"};
}

/// The record that hands out tokens of that name, of a refresh or a login.
inline QJsonObject tokenReply(const QString& name) {
    const AuthTokens tokens = tokensNamed(name);
    return {{"access_token", tokens.accessToken},
            {"refresh_token", tokens.refreshToken},
            {"token_type", "Bearer"},
            {"expires_at", tokens.expiresAtRaw},
            {"refresh_expires_at", tokens.refreshExpiresAtRaw}};
}

inline QJsonObject with(QJsonObject data, const QJsonObject& more) {
    for (auto entry = more.begin(); entry != more.end(); ++entry)
        data.insert(entry.key(), entry.value());
    return data;
}

inline QByteArray wrapped(const QJsonObject& data) {
    return Json::compact({{"data", data}});
}

/// The part of the path below the API root.
inline QString pathOf(const URLRequest& request) {
    return request.url.path().section("/api/v1/", 1);
}

/// The services in virtual time. At the end no secret may stand in the log.
class ServerTest : public testing::Test {
protected:
    using Kind = APIError::Kind;
    using Network = SimulatedURLSession;
    using Reply = Network::Reply;

    ~ServerTest() override { EXPECT_FALSE(log.contains(secretWord)) << qPrintable(log.lines().join('\n')); }

    void signIn(const QString& name) { services.keychain.saveAuthTokens(tokensNamed(name)); }
    std::optional<AuthTokens> tokens() { return services.keychain.getAuthTokens(); }
    /// Answers all requests with the same.
    void answer(const Reply& reply) {
        machine.urlSession.setServer([reply](const URLRequest&) { return reply; });
    }
    void pass(Seconds span) { machine.timeline.advance(span); }
    /// What became of the call within `span`.
    template <typename T>
    Outcome<T> outcomeOf(Task<T> task, Seconds span = 1) {
        const auto outcome = started(std::move(task));
        pass(span);
        return *outcome;
    }
    std::vector<URLRequest>& requests() { return machine.urlSession.requests; }
    std::optional<QString> preference(const char* key) const { return machine.preferences.string(key); }

    QTemporaryDir folder;
    LogCapture log;
    SimulatedPlatform machine{folder.path()};
    Services services{machine};
};
