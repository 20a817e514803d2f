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

/// One sign-in, as what is under way for it remembers it: another sign-in, a sign-out and a change of company make it
/// another.
struct SignIn {
    QString domainKey;
    quint64 number = 0;

    friend bool operator==(const SignIn&, const SignIn&) = default;
};

/// Everything that concerns the user's identity: login, one-time codes, password recovery, logout, and the
/// refresh that all 401s share. A serial worker: its state is touched on the worker executor only; the
/// operations may be called from any executor and resume there. Throws APIError.
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

    /// Called on the main executor when the server rejected the refresh: the session is thrown out
    /// ("com.velmora.timetracker.authSessionDidInvalidate"). The tokens are deleted by then; the company and its zone
    /// are forgotten when the handler returns, so that it can end what was worked for that company by its rules.
    void setSessionDidInvalidate(std::function<void()> handler) { authSessionDidInvalidate_ = std::move(handler); }

    /// Password login. A call during a running one joins it, whatever its arguments.
    Task<SingleLoginResult> login(QString email, QString password);
    /// One exchange; used directly for a one-time code.
    Task<SingleLoginResult> performSingleLogin(LoginRequest body);
    Task<> generateOtp(QString email);
    Task<> requestPasswordRecovery(QString email);
    /// Never throws; local state is cleared whatever the server says.
    Task<> logout();

    /// Single-flight refresh: any number of callers cause one exchange. Absent means: no new token. Throws URLError
    /// while the keyring does not tell what to refresh.
    Task<std::optional<AuthTokens>> handleUnauthorized();

    /// The present one. A late answer for another one is dropped. Any thread.
    SignIn signIn() const;

    /// Completes a sign-in that left the company to be chosen: stores the tokens, the e-mail that was signed in with
    /// and the API root of its endpoint. Throws `invalidURL` for an unusable endpoint and `network` for an insecure
    /// one or a keyring that does not take the tokens, and no company is entered then.
    Task<> selectCompany(QString endpoint, AuthTokens tokens, QString email);

    /// Once at launch, when the keyring has answered: whether there is a sign-in, which needs tokens and a company.
    /// What is left of an incomplete one is forgotten: the next password must not go to the company that was left. A
    /// base URL that nobody signed in to is kept; an installation may have stored it. `launched` is the sign-in at
    /// the program's start: for a later one the answer comes too late, and changes nothing.
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
    /// Drops the base URL and the names; from here on another sign-in begins.
    void forgetCompany();

    const Dependencies deps_;
    std::function<void()> authSessionDidInvalidate_;
    SingleFlight<SingleLoginResult> loginTask_;
    SingleFlight<std::optional<AuthTokens>> refresh_;
    /// Counts sign-ins, sign-outs and changes of company.
    std::atomic<quint64> signIn_ = 0;
};
