#include "LinuxURLSession.h"
#include "LoopbackServer.h"
#include "ServerWorld.h"

namespace {

using EndpointsLoopbackTest = ServerTest;

TEST_F(EndpointsLoopbackTest, EachHasItsMethodTokenAndBody) {
    const LoopbackServer server(answering([](const URLRequest& request) {
        return URLResponse{request.url.path().endsWith("config") ? 503 : 200, {}, "{}"};
    }));
    LinuxURLSession network;
    sendOver(network, machine.urlSession);
    domain.setBaseURL(server.url("/api/v1/"));
    signIn("old");

    const LoginRequest code{.email = "a@b", .password = "123456", .isOtp = 1};
    EXPECT_EQ(outcomeOf(auth.login("a@b", "c4n4ry")).failure, Kind::decodingFailed);
    EXPECT_EQ(outcomeOf(remoteConfig.fetchConfig()).statusCode, 503);
    EXPECT_FALSE(outcomeOf(auth.performSingleLogin(code)).value);
    EXPECT_TRUE(succeeds(auth.generateOtp("a@b")));
    EXPECT_TRUE(succeeds(auth.requestPasswordRecovery("a@b")));
    EXPECT_TRUE(outcomeOf(auth.handleUnauthorized()).value);
    EXPECT_TRUE(succeeds(auth.logout()));
    QStringList seen;
    for (const URLRequest& request : server.requests)
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
}

} // namespace
