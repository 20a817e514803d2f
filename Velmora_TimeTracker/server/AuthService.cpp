#include "server/AuthService.h"

#include "model/Json.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/PreferenceStore.h"
#include "server/APIEndpoints.h"
#include "server/AuthDateParser.h"
#include "server/RequestTokens.h"
#include "storage/APITimeZoneResolver.h"
#include "storage/DomainStorage.h"
#include "storage/KeychainService.h"
#include "storage/PreferenceStores.h"

using namespace Qt::StringLiterals;

namespace {

// Token lifetimes used if the server's expiry cannot be parsed.
constexpr Seconds defaultAccessLifetime = 3600;
constexpr Seconds defaultRefreshLifetime = 30 * 86400;

} // namespace

AuthService::AuthService(const Dependencies& dependencies)
    : deps_(dependencies)
    , loginTask_(deps_.worker)
    , refresh_(deps_.worker) {}

Task<SingleLoginResult> AuthService::login(QString email, QString password) {
    const LoginRequest body{.email = email, .password = password, .isOtp = std::nullopt};
    return runOn(deps_.worker,
                 [this, body] { return loginTask_.run([this, body] { return performSingleLoginOnWorker(body); }); });
}

Task<SingleLoginResult> AuthService::performSingleLogin(LoginRequest body) {
    return runOn(deps_.worker, [this, body] { return performSingleLoginOnWorker(body); });
}

Task<> AuthService::generateOtp(QString email) {
    return runOn(deps_.worker, [this, email] { return generateOtpOnWorker(email); });
}

Task<> AuthService::requestPasswordRecovery(QString email) {
    return runOn(deps_.worker, [this, email] { return requestPasswordRecoveryOnWorker(email); });
}

Task<> AuthService::logout() {
    return runOn(deps_.worker, [this] { return logoutOnWorker(); });
}

Task<std::optional<AuthTokens>> AuthService::handleUnauthorized() {
    return runOn(deps_.worker, [this] { return refresh_.run([this] { return refreshOnWorker(); }); });
}

SignIn AuthService::signIn() const {
    return {deps_.domain.domainKey(), signIn_};
}

Task<> AuthService::selectCompany(QString endpoint, AuthTokens tokens, QString email) {
    return runOn(deps_.worker, [this, endpoint, tokens, email]() -> Task<> {
        const auto root = DomainStorage::buildBaseURL(endpoint);
        if (!root)
            throw APIError::invalidURL();
        enter(*root, tokens, email);
        co_return;
    });
}

Task<bool> AuthService::restore(bool hasTokens, SignIn launched) {
    return runOn(deps_.worker, [this, hasTokens, launched]() -> Task<bool> {
        if (signIn_ != launched.number)
            co_return false;
        if (hasTokens && deps_.domain.hasCompany() && APIEndpoints::isSecure(deps_.endpoints.baseURL()))
            co_return true;
        if (hasTokens) {
            qCCritical(Log::auth, "A sign-in without a company of a secure address is forgotten");
            deps_.keychain.deleteAuthTokens();
        }
        if (hasTokens || hasProfile())
            forgetCompany();
        co_return false;
    });
}

Task<SingleLoginResult> AuthService::performSingleLoginOnWorker(LoginRequest body) {
    leaveFormerCompany();
    APIRequest request{.endpoint = Endpoints::singleLogin, .body = encode(body)};
    const SingleLoginData data = co_await deps_.api.request(std::move(request), decodeSingleLoginResponse);
    co_return outcomeOf(body, data);
}

SingleLoginResult AuthService::outcomeOf(const LoginRequest& body, const SingleLoginData& data) {
    if (data.otpRequired == 1)
        return OtpRequired{body.email, data.user ? data.user->email : QString()};
    const std::optional<TokenTexts> texts = data.tokens();
    if (!texts)
        throw APIError::decodingFailed();
    const AuthTokens tokens = parsed(*texts);
    qCInfo(Log::auth, "Login succeeded");
    if (!data.initEndpoint && data.companies && !data.companies->empty()) {
        const QString userName = data.user ? data.user->name.value_or(data.user->email) : u"User"_s;
        return CompanySelection{*data.companies, userName, tokens};
    }
    const auto named = data.initEndpoint ? DomainStorage::buildBaseURL(*data.initEndpoint) : std::nullopt;
    enter(named.value_or(deps_.endpoints.baseURL()), tokens,
          body.email); // else the company is the one of the request's API root
    return DirectConfig{tokens, data.user};
}

Task<> AuthService::generateOtpOnWorker(QString email) {
    const QByteArray body = Json::compact({{"email", email}, {"via", "email"}});
    APIRequest request{.endpoint = Endpoints::generateOtp, .body = body};
    co_await deps_.api.request(std::move(request), EmptyResponse::decode);
    qCInfo(Log::auth, "Generate OTP succeeded");
}

Task<> AuthService::requestPasswordRecoveryOnWorker(QString email) {
    leaveFormerCompany();
    const QByteArray body = Json::compact({{"email", email}, {"mobile", 1}});
    APIRequest request{.endpoint = Endpoints::passwordRecovery, .body = body};
    request.extraHeaders = {{"app-client", "IOS"}}; // what the backend accepts for this call
    co_await deps_.api.request(std::move(request), EmptyResponse::decode);
    qCInfo(Log::auth, "Password recovery requested");
}

Task<std::optional<AuthTokens>> AuthService::refreshOnWorker() {
    const std::optional<AuthTokens> old = requestTokens(deps_.keychain);
    if (!old) {
        qCInfo(Log::auth, "No tokens to refresh");
        co_return std::optional<AuthTokens>();
    }
    const quint64 signIn = signIn_;
    const QByteArray body = Json::compact({{"refresh_token", old->refreshToken}});
    APIRequest request{.endpoint = Endpoints::refresh, .body = body};
    std::optional<RefreshResponseData> reply;
    std::optional<APIError> failure;
    try {
        reply = co_await deps_.api.request(std::move(request), decodeRefreshResponse);
    } catch (const APIError& error) {
        failure = error;
    }
    if (signIn != signIn_) {
        qCInfo(Log::auth, "Token refresh of an earlier sign-in ignored");
        co_return std::optional<AuthTokens>();
    }
    if (failure) {
        if (failure->kind() == APIError::Kind::unauthorized)
            co_await clearLocalSessionAfterRefreshFailure();
        else
            qCCritical(Log::auth, "Token refresh failed transiently, keeping tokens: %s", failure->what());
        co_return std::optional<AuthTokens>();
    }
    const TokenTexts texts{reply->accessToken, reply->refreshToken.value_or(old->refreshToken), reply->expiresAt,
                           reply->refreshExpiresAt.value_or(old->refreshExpiresAtRaw)};
    const AuthTokens tokens = parsed(texts);
    deps_.keychain.saveAuthTokens(tokens);
    qCInfo(Log::auth, "Token refresh succeeded");
    co_return std::optional(tokens);
}

Task<> AuthService::clearLocalSessionAfterRefreshFailure() {
    qCCritical(Log::auth, "Token refresh rejected (401); clearing session");
    deps_.keychain.deleteAuthTokens(); // first, so that no further request uses them
    const quint64 ended = ++signIn_;
    co_await resumeOn(deps_.main);
    if (ended == signIn_) {
        if (authSessionDidInvalidate_)
            authSessionDidInvalidate_();
        forgetCompany();
        deps_.timeZones.store(deps_.timeZones.timezoneIdentifierForAPI(nullptr));
    }
    co_await resumeOn(deps_.worker);
}

Task<> AuthService::logoutOnWorker() {
    if (const auto tokens = deps_.keychain.getAuthTokens())
        co_await postLogout(tokens->refreshToken);
    forgetCompany();
    deps_.keychain.deleteAuthTokens();
}

Task<> AuthService::postLogout(QString refreshToken) {
    APIRequest request{.endpoint = Endpoints::logout, .body = Json::compact({{"refresh_token", refreshToken}})};
    try {
        co_await deps_.api.request(std::move(request), EmptyResponse::decode);
        qCInfo(Log::auth, "Logout succeeded");
    } catch (const APIError& error) {
        qCCritical(Log::auth, "Logout failed: %s", error.what());
    }
}

/// Stores the tokens first: if the process dies before the company is stored, they do not count as a sign-in.
void AuthService::enter(const QUrl& root, const AuthTokens& tokens, const QString& email) {
    if (!APIEndpoints::isSecure(root))
        throw APIError::network(APIEndpoints::insecure(root));
    // The keyring may still hold the tokens of another company.
    if (!deps_.keychain.saveAuthTokens(tokens))
        throw APIError::network(URLError(URLError::Code::dataNotAllowed, u"The keyring takes no sign-in."_s));
    deps_.domain.setUser(email); // before the company, whose data then belongs to this user
    deps_.domain.setBaseURL(root);
    ++signIn_;
}

AuthTokens AuthService::parsed(const TokenTexts& texts) const {
    const Date now = deps_.clock.now();
    return AuthTokens{texts.accessToken,
                      texts.refreshToken,
                      AuthDateParser::parse(texts.expiresAt, defaultAccessLifetime, now),
                      AuthDateParser::parse(texts.refreshExpiresAt, defaultRefreshLifetime, now),
                      texts.expiresAt,
                      texts.refreshExpiresAt};
}

/// True if a user signed in to the stored company; an installation may have set it without a sign-in.
bool AuthService::hasProfile() const {
    return deps_.preferences.string(PreferenceKey::userName) || deps_.preferences.string(PreferenceKey::companyName);
}

/// Forgets the stored company before a new sign-in if the keyring did not return its tokens, so that it does not get
/// the password.
void AuthService::leaveFormerCompany() {
    if (signIn_ == 0 && hasProfile())
        forgetCompany();
}

void AuthService::forgetCompany() {
    deps_.domain.setBaseURL(std::nullopt);
    UserProfileStorage::set(std::nullopt, std::nullopt, deps_.preferences);
    ++signIn_;
}
