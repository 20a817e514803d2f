#include "LinuxURLSession.h"
#include "ScriptedServer.h"
#include "ServerWorld.h"

#include <QCoreApplication>
#include <QJsonDocument>

namespace {

using Kind = APIError::Kind;

/// The services on real threads and the real network, against a scripted server on this machine.
class APIClientLoopbackTest : public testing::Test {
protected:
    APIClientLoopbackTest() {
        services.domain.setBaseURL(server.root());
        services.keychain.saveAuthTokens(tokensNamed("first"));
    }
    ~APIClientLoopbackTest() override { EXPECT_FALSE(log.contains(secretWord)); }

    /// Waits for the call's end.
    template <typename T>
    Outcome<T> outcomeOf(Task<T> task) {
        return finished(started(std::move(task)));
    }
    bool succeeds(Task<> task) { return finished(started(std::move(task))).value.has_value(); }

    template <typename T>
    static Outcome<T> finished(const std::shared_ptr<const Outcome<T>>& outcome) {
        while (outcome->isPending())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return *outcome;
    }

    QTemporaryDir folder;
    LogCapture log;
    SimulatedPlatform machine{folder.path()};
    std::function<URLResponse(const URLRequest&)> script = [](const URLRequest&) {
        return URLResponse{200, {}, "{}"};
    };
    ScriptedServer server{[this](const URLRequest& request) { return script(request); }};
    MainExecutor main;
    ThreadExecutor worker{"worker"};
    LinuxURLSession session;
    Services services{machine, session, worker, main};
};

TEST_F(APIClientLoopbackTest, EachEndpointHasItsHeadersAndBody) {
    outcomeOf(services.auth.login("a@b.example", "c4n4ry"));
    succeeds(services.auth.generateOtp("a@b.example"));
    succeeds(services.auth.requestPasswordRecovery("a@b.example"));
    outcomeOf(services.auth.handleUnauthorized());
    outcomeOf(services.remoteConfig.fetchConfig());
    APIRequest report;
    report.path = "hr/timetracker/reporting/screenshots/employees?date=2024-05-01";
    report.method = "GET";
    outcomeOf(services.api.request(report));
    succeeds(services.auth.logout());

    const struct {
        const char *method, *target, *appClient;
        bool bears;
        const char* body;
    } endpoints[] = {
        {"POST", "authentication/singleLogin", "mac", false,
         R"({"email":"a@b.example","password":"c4n4ry","remember_me":1,"use_jwt":1})"},
        {"POST", "authentication/generateOtp", "mac", false, R"({"email":"a@b.example","via":"email"})"},
        {"POST", "authentication/password/recovery", "IOS", false, R"({"email":"a@b.example","mobile":1})"},
        {"POST", "authentication/refresh", "mac", false, R"({"refresh_token":"first-refresh-c4n4ry"})"},
        {"GET", "hr/timetracker/employees/config", "mac", true, ""},
        {"GET", "hr/timetracker/reporting/screenshots/employees?date=2024-05-01", "mac", true, ""},
        {"POST", "authentication/logout", "mac", true, R"({"refresh_token":"first-refresh-c4n4ry"})"},
    };
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), std::size(endpoints));
    for (std::size_t i = 0; i < requests.size(); ++i) {
        const auto& [method, target, appClient, isAuthorized, body] = endpoints[i];
        const URLRequest& request = requests[i];
        EXPECT_EQ(request.url, server.root().resolved(QUrl(target)));
        EXPECT_EQ(request.method, method) << target;
        EXPECT_EQ(request.header("Content-Type"), "application/json") << target;
        EXPECT_EQ(request.header("Accept"), "application/json") << target;
        EXPECT_EQ(request.header("app-client"), appClient) << target;
        EXPECT_EQ(request.header("X-App"), "hr") << target;
        EXPECT_EQ(request.header("Authorization"), isAuthorized ? "Bearer first-access-c4n4ry" : "")
            << target;
        EXPECT_EQ(QJsonDocument::fromJson(request.body), QJsonDocument::fromJson(body)) << target;
    }
}

TEST_F(APIClientLoopbackTest, UnauthorizedRefreshesAndRepeatsOnce) {
    const QByteArray config = R"({"data":{"device_id":"d","projects":[],"screenshot_interval_minutes":5,)"
                              R"("idle_minutes_threshold":5,"discard_idle_time":true}})";
    const struct {
        const char* accepted; ///< Whose tokens the server takes.
        int configRequests, refreshes;
        std::optional<Kind> kind;
    } cases[] = {{"first", 1, 0, {}}, {"second", 2, 1, {}}, {"third", 2, 1, Kind::unauthorized}};
    for (const auto& [accepted, configRequests, refreshes, kind] : cases) {
        services.keychain.saveAuthTokens(tokensNamed("first"));
        const std::size_t before = server.requests().size();
        script = [&config, accepted = accepted](const URLRequest& request) {
            if (pathOf(request) == "authentication/refresh")
                return URLResponse{200, {}, wrapped(tokenReply("second"))};
            return bears(request, tokensNamed(accepted)) ? URLResponse{200, {}, config}
                                                         : URLResponse{401, {}, "{}"};
        };
        const auto outcome = outcomeOf(services.remoteConfig.fetchConfig());
        EXPECT_EQ(outcome.error ? std::optional(outcome.error->kind()) : std::nullopt, kind) << accepted;
        EXPECT_EQ(server.requests().size() - before, std::size_t(configRequests + refreshes)) << accepted;
        EXPECT_EQ(services.keychain.getAuthTokens(), tokensNamed(refreshes ? "second" : "first")) << accepted;
    }
}

TEST_F(APIClientLoopbackTest, BodiesThatAreNoAnswer) {
    const struct {
        const char* name;
        URLResponse response;
        Kind loginFails;
        bool otpSucceeds; ///< Its body does not matter.
    } cases[] = {
        {"page", {200, {}, "<html>Welcome</html>"}, Kind::decodingFailed, true},
        {"empty", {200, {}, ""}, Kind::decodingFailed, true},
        {"no tokens", {200, {}, R"({"data":{}})"}, Kind::decodingFailed, true},
        {"truncated",
         {200, {{"Content-Length", "1000"}}, R"({"data":{"access_token":"c4n4ry)"},
         Kind::network,
         false},
        {"nothing", {}, Kind::network, false},
        {"failure", {502, {}, "<html>Bad gateway</html>"}, Kind::serverError, false},
        {"elsewhere", {302, {{"Location", "http://localhost:1/x"}}, ""}, Kind::network, false},
    };
    for (const auto& [name, response, loginFails, otpSucceeds] : cases) {
        script = [&response = response](const URLRequest&) { return response; };
        const auto login = outcomeOf(services.auth.login("a@b.example", "c4n4ry"));
        ASSERT_TRUE(login.error) << name;
        EXPECT_TRUE(login.failedWith(loginFails)) << name << ": " << login.error->what();
        EXPECT_EQ(succeeds(services.auth.generateOtp("a@b.example")), otpSucceeds) << name;
    }
    EXPECT_EQ(services.keychain.getAuthTokens(), tokensNamed("first"));
}

} // namespace
