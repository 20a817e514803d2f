#include "ServerWorld.h"

#include "ApplicationFolder.h"
#include "Json.h"

Task<bool> succeeding(Task<> task) {
    co_await std::move(task);
    co_return true;
}

Services::Services(SimulatedPlatform& machine, URLSession& session, Executor& worker, Executor& main)
    : domain(machine.preferences)
    , keychain(machine.secrets)
    , endpoints(domain, machine.information)
    , timeZones(machine.preferences, machine.clock)
    , api(session, endpoints, keychain, worker, main)
    , auth({api, keychain, domain, machine.preferences, timeZones, machine.clock, worker, main})
    , remoteConfig(api, machine.preferences, machine.clock, machine.random, worker,
                   ApplicationFolder::path(machine.information)) {
    auth.setSessionDidInvalidate([this] { ++sessionInvalidations; });
    api.setUnauthorizedHandler([this]() -> Task<bool> {
        const std::optional<AuthTokens> tokens = co_await auth.handleUnauthorized();
        co_return tokens.has_value();
    });
}

AuthTokens tokensNamed(const QString& name) {
    return {name + "-access-" + secretWord, name + "-refresh-" + secretWord, Date::since1970(1'800'000'000),
            Date::since1970(1'900'000'000), "2027-01-15T08:00:00Z",          "2030-03-17 17:46:40"};
}

QJsonObject tokenReply(const QString& name) {
    const AuthTokens tokens = tokensNamed(name);
    return {{"access_token", tokens.accessToken},
            {"refresh_token", tokens.refreshToken},
            {"token_type", "Bearer"},
            {"expires_at", tokens.expiresAtRaw},
            {"refresh_expires_at", tokens.refreshExpiresAtRaw}};
}

QJsonObject with(QJsonObject data, const QJsonObject& more) {
    for (auto entry = more.begin(); entry != more.end(); ++entry)
        data.insert(entry.key(), entry.value());
    return data;
}

QByteArray wrapped(const QJsonObject& data) {
    return Json::compact({{"data", data}});
}

QString pathOf(const URLRequest& request) {
    return request.url.path().section("/api/v1/", 1);
}

ServerTest::~ServerTest() {
    EXPECT_FALSE(log.contains(secretWord)) << qPrintable(log.lines().join('\n'));
}

void ServerTest::answer(const Reply& reply) {
    machine.urlSession.setServer([reply](const URLRequest&) { return reply; });
}
