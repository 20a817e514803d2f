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

/// What became of a call.
template <typename T>
struct Outcome {
    std::optional<T> value;
    std::optional<APIError> error;

    bool isPending() const { return !value && !error; }
    bool failedWith(APIError::Kind kind) const { return error && error->kind() == kind; }
};

/// The outcome of a running call, filled in when the call ends.
template <typename T>
std::shared_ptr<const Outcome<T>> started(Task<T> task) {
    const auto outcome = std::make_shared<Outcome<T>>();
    const auto follow = [](Task<T> followed, std::shared_ptr<Outcome<T>> into) -> Task<> {
        try {
            into->value = co_await std::move(followed);
        } catch (const APIError& error) {
            into->error = error;
        }
    };
    follow(std::move(task), outcome);
    return outcome;
}
std::shared_ptr<const Outcome<bool>> started(Task<> task);

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
/// The body of a refresh or login reply that hands out tokens of that name.
QJsonObject tokenReply(const QString& name);
QByteArray json(const QJsonObject& object);
QByteArray wrapped(const QJsonObject& data);
bool bears(const URLRequest& request, const AuthTokens& tokens);
/// The part of the path below the API root.
QString pathOf(const URLRequest& request);

/// The services in virtual time. At the end no secret may stand in the log.
class ServerTest : public testing::Test {
protected:
    using Reply = SimulatedURLSession::Reply;

    ~ServerTest() override;

    void signIn(const QString& name = "first") { services.keychain.saveAuthTokens(tokensNamed(name)); }
    std::optional<AuthTokens> tokens() { return services.keychain.getAuthTokens(); }
    /// Answers all requests with the same.
    void answer(int status, const QByteArray& body = "{}", Seconds delay = 0.05);
    int requestsTo(const QString& path) const;
    void pass(Seconds span) { machine.timeline.advance(span); }
    std::optional<QString> preference(const char* key) const { return machine.preferences.string(key); }

    QTemporaryDir folder;
    LogCapture log;
    SimulatedPlatform machine{folder.path()};
    Services services{machine, machine.urlSession, machine.worker, machine.main};
};
