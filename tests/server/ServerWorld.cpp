#include "ServerWorld.h"

#include "ApplicationFolder.h"
#include "Json.h"

std::shared_ptr<const Outcome<bool>> started(Task<> task) {
    const auto succeeded = [](Task<> inner) -> Task<bool> {
        co_await std::move(inner);
        co_return true;
    };
    return started(succeeded(std::move(task)));
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

QByteArray json(const QJsonObject& object) {
    return Json::compact(object);
}

QByteArray wrapped(const QJsonObject& data) {
    return json({{"data", data}});
}

bool bears(const URLRequest& request, const AuthTokens& tokens) {
    return request.header("Authorization") == "Bearer " + tokens.accessToken.toUtf8();
}

QString pathOf(const URLRequest& request) {
    return request.url.path().section("/api/v1/", 1);
}

ServerTest::~ServerTest() {
    EXPECT_FALSE(log.contains(secretWord)) << qPrintable(log.lines().join('\n'));
}

void ServerTest::answer(int status, const QByteArray& body, Seconds delay) {
    machine.urlSession.setServer(
        [=, this](const URLRequest&) { return machine.urlSession.answer(status, body, delay); });
}

int ServerTest::requestsTo(const QString& path) const {
    const auto& requests = machine.urlSession.requests;
    return static_cast<int>(std::count_if(requests.begin(), requests.end(),
                                          [&](const auto& request) { return pathOf(request) == path; }));
}
