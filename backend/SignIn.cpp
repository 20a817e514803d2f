#include "backend/Checks.h"
#include "backend/Endpoint.h"

#include <QJsonArray>
#include <QTimeZone>
#include <QUrl>

namespace backend {

namespace {

const QString bearerPrefix = QStringLiteral("Bearer ");

void demandHeader(const Call& call, const char* name, const QString& expected) {
    const QString found = call.header(name);
    if (found != expected || call.request.get_header_value_count(name) > 1)
        throw Refusal{400, QStringLiteral("The header %1 must be \"%2\", not \"%3\".")
                               .arg(QString::fromLatin1(name), expected, found)};
}

void demandNoBearer(const Call& call) {
    if (call.request.has_header("Authorization"))
        throw Refusal{400, QStringLiteral("This request must not carry an Authorization header.")};
}

/// Where the client finds this server's API for a company: at the company's own host name if it has one.
QString endpointOf(const Company& company, const Call& call) {
    QUrl url(call.origin);
    if (!company.host.isEmpty())
        url.setHost(company.host);
    url.setPath(QStringLiteral("/c/%1/api/v1").arg(company.key));
    return url.toString();
}

QString expiryText(qint64 at, bool flat) {
    const QDateTime time = QDateTime::fromSecsSinceEpoch(at, Qt::UTC);
    return flat ? time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) : time.toString(Qt::ISODate);
}

QJsonObject tokensOf(const TokenPair& pair, bool flat) {
    return {{u"access_token"_qs, pair.access},
            {u"refresh_token"_qs, pair.refresh},
            {u"token_type"_qs, u"Bearer"_qs},
            {u"expires_at"_qs, expiryText(pair.accessExpiresAt, flat)},
            {u"refresh_expires_at"_qs, expiryText(pair.refreshExpiresAt, flat)}};
}

QJsonObject issueTokens(State& state, const Account& account) {
    const TokenPair pair = state.tokens.issue(
        account.email, state.second(), state.accounts.accessTokenSeconds, state.accounts.refreshTokenSeconds);
    return tokensOf(pair, account.flatTokens);
}

QJsonObject userOf(const Account& account) {
    return {{u"email"_qs, account.email}, {u"name"_qs, account.name}};
}

void sendCode(State& state, const Account& account) {
    const QString code = state.codes.issue(account.email, state.second());
    qInfo("one-time code for %s: %s", qUtf8Printable(account.email), qUtf8Printable(code));
}

/// The reply of a sign-in that went through: tokens, and which way the client goes on.
QJsonObject signedIn(State& state, const Account& account, const Call& call) {
    const QJsonObject tokens = issueTokens(state, account);
    QJsonObject data = account.flatTokens ? tokens : QJsonObject{{u"data"_qs, tokens}};
    data.insert(u"otp_required"_qs, 0);
    data.insert(u"user"_qs, userOf(account));
    if (account.companies.size() > 1) {
        QJsonArray companies;
        for (const QString& key : account.companies) {
            const Company& company = state.accounts.company(key);
            companies.append(
                QJsonObject{{u"name"_qs, company.name}, {u"endpoint"_qs, endpointOf(company, call)}});
        }
        data.insert(u"companies"_qs, companies);
    } else if (account.tellsEndpoint) {
        data.insert(u"init"_qs, QJsonObject{{u"endpoint"_qs, call.origin + u"/api/v1"_qs}});
    }
    return {{u"data"_qs, data}};
}

Reply singleLogin(State& state, const Call& call) {
    demandJsonClientHeaders(call);
    demandNoBearer(call);
    const QJsonObject body = objectFrom(call.request.body);
    demand(body, {{u"email"_qs, filledText()},
                  {u"password"_qs, filledText()},
                  {u"remember_me"_qs, integer(1, 1)},
                  {u"use_jwt"_qs, integer(1, 1)},
                  {u"is_otp"_qs, integer(1, 1), false}});
    const Account* account = state.accounts.find(body.value(u"email").toString());
    const QString secret = body.value(u"password").toString();
    if (body.contains(u"is_otp")) {
        if (!account || !state.codes.redeem(account->email, secret, state.second()))
            throw Refusal{401, QStringLiteral("The code is wrong or has expired.")};
        return signedIn(state, *account, call);
    }
    if (!account || account->password != secret)
        throw Refusal{401, QStringLiteral("The e-mail address or the password is wrong.")};
    if (!account->needsOneTimeCode)
        return signedIn(state, *account, call);
    sendCode(state, *account);
    return QJsonObject{{u"data"_qs, QJsonObject{{u"otp_required"_qs, 1}, {u"user"_qs, userOf(*account)}}}};
}

/// Answers alike whether the address is known or not, so that nobody can find out which are.
Reply generateOtp(State& state, const Call& call) {
    demandJsonClientHeaders(call);
    demandNoBearer(call);
    const QJsonObject body = objectFrom(call.request.body);
    demand(body, {{u"email"_qs, filledText()}, {u"via"_qs, oneOf({u"email"})}});
    const Account* account = state.accounts.find(body.value(u"email").toString());
    if (account && account->needsOneTimeCode)
        sendCode(state, *account);
    return QJsonObject{{u"message"_qs, u"If the account uses codes, one is on its way."_qs}};
}

Reply recoverPassword(State&, const Call& call) {
    demandJsonClientHeaders(call, QStringLiteral("IOS"));
    demandNoBearer(call);
    const QJsonObject body = objectFrom(call.request.body);
    demand(body, {{u"email"_qs, filledText()}, {u"mobile"_qs, integer(1, 1)}});
    return QJsonObject{{u"message"_qs, u"If the account exists, a link is on its way."_qs}};
}

/// Accounts with flat tokens get the new ones wrapped once, the others twice.
Reply refresh(State& state, const Call& call) {
    demandJsonClientHeaders(call);
    demandNoBearer(call);
    const QJsonObject body = objectFrom(call.request.body);
    demand(body, {{u"refresh_token"_qs, filledText()}});
    const Account* account =
        state.accounts.find(state.tokens.redeem(body.value(u"refresh_token").toString(), state.second()));
    if (!account)
        throw Refusal{401, QStringLiteral("The account no longer exists.")};
    const QJsonObject once{{u"data"_qs, issueTokens(state, *account)}};
    return account->flatTokens ? once : QJsonObject{{u"data"_qs, once}};
}

Reply logout(State& state, const Call& call) {
    demandJsonClientHeaders(call);
    callerOf(state, call);
    demand(objectFrom(call.request.body), {{u"refresh_token"_qs, filledText()}});
    state.tokens.revoke(call.header("Authorization").mid(bearerPrefix.size()));
    return QJsonObject{{u"message"_qs, u"Signed out."_qs}};
}

} // namespace

void demandJsonClientHeaders(const Call& call, const QString& appClient) {
    demandHeader(call, "Content-Type", QStringLiteral("application/json"));
    demandHeader(call, "Accept", QStringLiteral("application/json"));
    demandHeader(call, "app-client", appClient);
    demandHeader(call, "X-App", QStringLiteral("hr"));
}

Caller callerOf(State& state, const Call& call) {
    const QString authorization = call.header("Authorization");
    if (!authorization.startsWith(bearerPrefix))
        throw Refusal{401, QStringLiteral("A bearer token is required.")};
    const QString user = state.tokens.userOf(authorization.mid(bearerPrefix.size()), state.second());
    const Account* account = state.accounts.find(user);
    if (!account)
        throw Refusal{401, QStringLiteral("The account no longer exists.")};
    const QString asked = call.part(1);
    const auto& keys = account->companies;
    if (!asked.isEmpty() && std::find(keys.begin(), keys.end(), asked) == keys.end())
        throw Refusal{403, QStringLiteral("The account does not belong to this company.")};
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
