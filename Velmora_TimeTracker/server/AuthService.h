#pragma once

#include "model/AuthTokens.h"
#include "server/APIClient.h"
#include "server/LoginResponses.h"
#include "server/SingleFlight.h"

#include <atomic>
#include <functional>
#include <optional>

class APIEndpoints;
class APITimeZoneResolver;
class Clock;
class DomainStorage;
class KeychainService;
class PreferenceStore;

/// Identifies one sign-in. A new sign-in, a sign-out and a change of company each give another value, so that a late
/// result can be recognised.
struct SignIn {
    QString domainKey;
    quint64 number = 0;

    friend bool operator==(const SignIn&, const SignIn&) = default;
};

/// Login, one-time codes, password recovery, logout, and the token refresh that all requests share. A serial worker:
/// its state is used on the worker executor only; operations may be called from any executor and resume there. Throws
/// APIError.
class AuthService {
public:
    struct Dependencies {
        APIClient& api;
        const APIEndpoints& endpoints;
        KeychainService& keychain;
        DomainStorage& domain;
        PreferenceStore& preferences;
        APITimeZoneResolver& timeZones;
        const Clock& clock;
        Executor& worker;
        Executor& main;
    };

    explicit AuthService(const Dependencies& dependencies);

    /// Called on the main executor when the server rejected the refresh
    /// ("com.velmora.timetracker.authSessionDidInvalidate"). The tokens are deleted before the call, the company and
    /// its zone after it, so that the handler can end the sessions of that company by its rules.
    void setSessionDidInvalidate(std::function<void()> handler) { authSessionDidInvalidate_ = std::move(handler); }

    /// Password login. A call during a pending one shares its result, whatever its arguments.
    Task<SingleLoginResult> login(QString email, QString password);
    /// A single request; used directly for a one-time code.
    Task<SingleLoginResult> performSingleLogin(LoginRequest body);
    Task<> generateOtp(QString email);
    Task<> requestPasswordRecovery(QString email);
    /// Never throws; local state is cleared even if the request fails.
    Task<> logout();

    /// Refreshes the tokens; concurrent callers share one request. Absent if there is no new token. Throws URLError if
    /// the keyring cannot be read.
    Task<std::optional<AuthTokens>> handleUnauthorized();

    /// The current sign-in. Any thread.
    SignIn signIn() const;

    /// Completes a sign-in after the choice of a company: stores the tokens, the e-mail address and the API root of
    /// the endpoint. Throws `invalidURL` for an unusable endpoint, and `network` for an insecure one or a keyring that
    /// cannot be written; nothing is stored then.
    Task<> selectCompany(QString endpoint, AuthTokens tokens, QString email);

    /// Called once at launch, when the keyring has been read: returns whether a sign-in, that is tokens and a company,
    /// is stored. Deletes an incomplete one, since the next password must not be sent to its company, but keeps a base
    /// URL set by an installation. Changes nothing if the sign-in is no longer `launched`.
    Task<bool> restore(bool hasTokens, SignIn launched);

private:
    Task<SingleLoginResult> performSingleLoginOnWorker(LoginRequest body);
    SingleLoginResult outcomeOf(const LoginRequest& body, const SingleLoginData& data);
    Task<> generateOtpOnWorker(QString email);
    Task<> requestPasswordRecoveryOnWorker(QString email);
    Task<std::optional<AuthTokens>> refreshOnWorker();
    Task<> clearLocalSessionAfterRefreshFailure();
    Task<> logoutOnWorker();
    Task<> postLogout(QString refreshToken);
    void enter(const QUrl& root, const AuthTokens& tokens, const QString& email);
    AuthTokens parsed(const TokenTexts& texts) const;
    bool hasProfile() const;
    void leaveFormerCompany();
    /// Deletes the base URL and the names; `signIn` changes.
    void forgetCompany();

    const Dependencies deps_;
    std::function<void()> authSessionDidInvalidate_;
    SingleFlight<SingleLoginResult> loginTask_;
    SingleFlight<std::optional<AuthTokens>> refresh_;
    /// Incremented at each sign-in, sign-out and change of company.
    std::atomic<quint64> signIn_ = 0;
};
