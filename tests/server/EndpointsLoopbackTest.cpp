#include "LinuxURLSession.h"
#include "ScriptedServer.h"
#include "ServerWorld.h"

#include <QCoreApplication>

namespace {

/// Runs a call on real threads to its end.
template <typename T>
bool succeeds(Task<T> task) {
    const auto outcome = started(std::move(task));
    while (!outcome->value && !outcome->failure)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return outcome->value.has_value();
}

TEST(EndpointsLoopbackTest, EachHasItsMethodTokenAndBody) {
    const QTemporaryDir folder;
    const LogCapture log;
    SimulatedPlatform machine{folder.path()};
    const ScriptedServer server([](const URLRequest&) { return URLResponse{200, {}, "{}"}; });
    MainExecutor main;
    ThreadExecutor worker{"worker"};
    LinuxURLSession session;
    Services services{machine, session, worker, main};
    services.domain.setBaseURL(server.root());
    services.keychain.saveAuthTokens(tokensNamed("old"));

    const LoginRequest code{.email = "a@b", .password = "123456", .isOtp = 1};
    EXPECT_FALSE(succeeds(services.auth.login("a@b", "c4n4ry")) ||
                 succeeds(services.remoteConfig.fetchConfig()));
    EXPECT_FALSE(succeeds(services.auth.performSingleLogin(code)));
    EXPECT_TRUE(succeeds(succeeding(services.auth.generateOtp("a@b"))));
    EXPECT_TRUE(succeeds(succeeding(services.auth.requestPasswordRecovery("a@b"))));
    EXPECT_TRUE(succeeds(services.auth.handleUnauthorized()));
    EXPECT_TRUE(succeeds(succeeding(services.auth.logout())));
    QStringList seen;
    for (const URLRequest& request : server.requests())
        seen << QStringList{request.method, pathOf(request), request.header("app-client"),
                            request.header("Authorization"), request.body}
                    .join('|');
    const QStringList expected{
        "POST|authentication/singleLogin|mac||"
        R"({"email":"a@b","password":"c4n4ry","remember_me":1,"use_jwt":1})",
        "GET|hr/timetracker/employees/config|mac|Bearer old-access-c4n4ry|",
        "POST|authentication/singleLogin|mac||"
        R"({"email":"a@b","password":"123456","remember_me":1,"use_jwt":1,"is_otp":1})",
        R"(POST|authentication/generateOtp|mac||{"email":"a@b","via":"email"})",
        R"(POST|authentication/password/recovery|IOS||{"email":"a@b","mobile":1})",
        R"(POST|authentication/refresh|mac||{"refresh_token":"old-refresh-c4n4ry"})",
        "POST|authentication/logout|mac|Bearer old-access-c4n4ry|"
        R"({"refresh_token":"old-refresh-c4n4ry"})",
    };
    EXPECT_EQ(seen, expected) << qPrintable(seen.join('\n'));
    EXPECT_TRUE(log.contains("Generate OTP succeeded") && log.contains("Password recovery requested"));
    EXPECT_FALSE(log.contains(secretWord));
}

} // namespace
