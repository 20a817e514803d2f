#pragma once

#include "APIClient.h"
#include "APIEndpoints.h"
#include "APITimeZoneResolver.h"
#include "AuthService.h"
#include "DomainStorage.h"
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
Task<bool> succeeding(Task<> task);

/// All of the folder's services on one machine, wired as in the program.
struct Services {
    Services(SimulatedPlatform& machine, URLSession& session, Executor& worker, Executor& main);

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

AuthTokens tokensNamed(const QString& name);
/// The record that hands out tokens of that name, of a refresh or a login.
QJsonObject tokenReply(const QString& name);
QJsonObject with(QJsonObject data, const QJsonObject& more);
QByteArray wrapped(const QJsonObject& data);
/// The part of the path below the API root.
QString pathOf(const URLRequest& request);

/// The services in virtual time. At the end no secret may stand in the log.
class ServerTest : public testing::Test {
protected:
    using Kind = APIError::Kind;
    using Network = SimulatedURLSession;
    using Reply = Network::Reply;

    ~ServerTest() override;

    void signIn(const QString& name) { services.keychain.saveAuthTokens(tokensNamed(name)); }
    std::optional<AuthTokens> tokens() { return services.keychain.getAuthTokens(); }
    /// Answers all requests with the same.
    void answer(const Reply& reply);
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
    Services services{machine, machine.urlSession, machine.worker, machine.main};
};
