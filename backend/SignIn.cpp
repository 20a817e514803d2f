#include "backend/Checks.h"
#include "backend/Endpoint.h"

#include <QJsonArray>
#include <QTimeZone>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace backend {

namespace {

const QString bearerPrefix = u"Bearer "_s;

void demandHeader(const Call& call, const char* name, const QString& expected) {
    const QString found = call.header(name);
    if (found != expected || call.request.get_header_value_count(name) > 1)
        throw Refusal{400,
                      u"The header %1 must be \"%2\", not \"%3\"."_s.arg(QString::fromLatin1(name), expected, found)};
}

void demandNoBearer(const Call& call) {
    if (call.request.has_header("Authorization"))
        throw Refusal{400, u"This request must not carry an Authorization header."_s};
}

/// Where the client finds this server's API for a company: at the company's own host name if it has one.
QString endpointOf(const Company& company, const Call& call) {
    QUrl url(call.origin);
    if (!company.host.isEmpty())
        url.setHost(company.host);
    url.setPath(u"/c/%1/api/v1"_s.arg(company.key));
    return url.toString();
}

QString expiryText(qint64 at, bool flat) {
    const QDateTime time = QDateTime::fromSecsSinceEpoch(at, Qt::UTC);
    return flat ? time.toString(u"yyyy-MM-dd HH:mm:ss"_s) : time.toString(Qt::ISODate);
}

QJsonObject tokensOf(const TokenPair& pair, bool flat) {
    return {{u"access_token"_s, pair.access},
            {u"refresh_token"_s, pair.refresh},
            {u"token_type"_s, u"Bearer"_s},
            {u"expires_at"_s, expiryText(pair.accessExpiresAt, flat)},
            {u"refresh_expires_at"_s, expiryText(pair.refreshExpiresAt, flat)}};
}

QJsonObject issueTokens(State& state, const Account& account) {
    const TokenPair pair = state.tokens.issue(account.email, state.second(), state.accounts.accessTokenSeconds,
                                              state.accounts.refreshTokenSeconds);
    return tokensOf(pair, account.flatTokens);
}

QJsonObject userOf(const Account& account) {
    return {{u"email"_s, account.email}, {u"name"_s, account.name}};
}

void sendCode(State& state, const Account& account) {
    const QString code = state.codes.issue(account.email, state.second());
    qInfo("one-time code for %s: %s", qUtf8Printable(account.email), qUtf8Printable(code));
}

/// The reply of a sign-in that went through: tokens, and which way the client goes on.
QJsonObject signedIn(State& state, const Account& account, const Call& call) {
    const QJsonObject tokens = issueTokens(state, account);
    QJsonObject data = account.flatTokens ? tokens : QJsonObject{{u"data"_s, tokens}};
    data.insert(u"otp_required"_s, 0);
    data.insert(u"user"_s, userOf(account));
    if (account.companies.size() > 1) {
        QJsonArray companies;
        for (const QString& key : account.companies) {
            const Company& company = state.accounts.company(key);
            companies.append(QJsonObject{{u"name"_s, company.name}, {u"endpoint"_s, endpointOf(company, call)}});
        }
        data.insert(u"companies"_s, companies);
    } else if (account.tellsEndpoint) {
        data.insert(u"init"_s, QJsonObject{{u"endpoint"_s, call.origin + u"/api/v1"_s}});
    }
    return {{u"data"_s, data}};
}

Reply singleLogin(State& state, const Call& call) {
    demandJsonClientHeaders(call);
    demandNoBearer(call);
    const QJsonObject body = objectFrom(call.request.body);
    demand(body, {{u"email"_s, filledText()},
                  {u"password"_s, filledText()},
                  {u"remember_me"_s, integer(1, 1)},
                  {u"use_jwt"_s, integer(1, 1)},
                  {u"is_otp"_s, integer(1, 1), false}});
    const Account* account = state.accounts.find(body.value(u"email").toString());
    const QString secret = body.value(u"password").toString();
    if (body.contains(u"is_otp")) {
        if (!account || !state.codes.redeem(account->email, secret, state.second()))
            throw Refusal{401, u"The code is wrong or has expired."_s};
        return signedIn(state, *account, call);
    }
    if (!account || account->password != secret)
        throw Refusal{401, u"The e-mail address or the password is wrong."_s};
    if (!account->needsOneTimeCode)
        return signedIn(state, *account, call);
    sendCode(state, *account);
    return QJsonObject{{u"data"_s, QJsonObject{{u"otp_required"_s, 1}, {u"user"_s, userOf(*account)}}}};
}

/// Answers alike whether the address is known or not, so that nobody can find out which are.
Reply generateOtp(State& state, const Call& call) {
    demandJsonClientHeaders(call);
    demandNoBearer(call);
    const QJsonObject body = objectFrom(call.request.body);
    demand(body, {{u"email"_s, filledText()}, {u"via"_s, oneOf({u"email"})}});
    const Account* account = state.accounts.find(body.value(u"email").toString());
    if (account && account->needsOneTimeCode)
        sendCode(state, *account);
    return QJsonObject{{u"message"_s, u"If the account uses codes, one is on its way."_s}};
}

Reply recoverPassword(State&, const Call& call) {
    demandJsonClientHeaders(call, u"IOS"_s);
    demandNoBearer(call);
    const QJsonObject body = objectFrom(call.request.body);
    demand(body, {{u"email"_s, filledText()}, {u"mobile"_s, integer(1, 1)}});
    return QJsonObject{{u"message"_s, u"If the account exists, a link is on its way."_s}};
}

/// Accounts with flat tokens get the new ones wrapped once, the others twice.
Reply refresh(State& state, const Call& call) {
    demandJsonClientHeaders(call);
    demandNoBearer(call);
    const QJsonObject body = objectFrom(call.request.body);
    demand(body, {{u"refresh_token"_s, filledText()}});
    const Account* account =
        state.accounts.find(state.tokens.redeem(body.value(u"refresh_token").toString(), state.second()));
    if (!account)
        throw Refusal{401, u"The account no longer exists."_s};
    const QJsonObject once{{u"data"_s, issueTokens(state, *account)}};
    return account->flatTokens ? once : QJsonObject{{u"data"_s, once}};
}

Reply logout(State& state, const Call& call) {
    demandJsonClientHeaders(call);
    callerOf(state, call);
    demand(objectFrom(call.request.body), {{u"refresh_token"_s, filledText()}});
    state.tokens.revoke(call.header("Authorization").mid(bearerPrefix.size()));
    return QJsonObject{{u"message"_s, u"Signed out."_s}};
}

} // namespace

void demandJsonClientHeaders(const Call& call, const QString& appClient) {
    demandHeader(call, "Content-Type", u"application/json"_s);
    demandHeader(call, "Accept", u"application/json"_s);
    demandHeader(call, "app-client", appClient);
    demandHeader(call, "X-App", u"hr"_s);
}

Caller callerOf(State& state, const Call& call) {
    const QString authorization = call.header("Authorization");
    if (!authorization.startsWith(bearerPrefix))
        throw Refusal{401, u"A bearer token is required."_s};
    const QString user = state.tokens.userOf(authorization.mid(bearerPrefix.size()), state.second());
    const Account* account = state.accounts.find(user);
    if (!account)
        throw Refusal{401, u"The account no longer exists."_s};
    const QString asked = call.part(1);
    const auto& keys = account->companies;
    if (!asked.isEmpty() && std::find(keys.begin(), keys.end(), asked) == keys.end())
        throw Refusal{403, u"The account does not belong to this company."_s};
    return {*account, state.accounts.company(asked.isEmpty() ? keys.front() : asked)};
}

std::vector<Endpoint> signInEndpoints() {
    const std::string at = apiRoot + "authentication/";
    return {{Endpoint::Method::post, at + "singleLogin", singleLogin},
            {Endpoint::Method::post, at + "generateOtp", generateOtp},
            {Endpoint::Method::post, at + "password/recovery", recoverPassword},
            {Endpoint::Method::post, at + "refresh", refresh},
            {Endpoint::Method::post, at + "logout", logout}};
}

} // namespace backend
