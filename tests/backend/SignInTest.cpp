#include "BackendTest.h"

#include <QUrl>

TEST_F(BackendTest, EachAccountGoesOnItsOwnWay) {
    const QJsonValue straight = answer(with(login("Demo@velmora.example"), "Host", "localhost:4711"))["data"];
    EXPECT_EQ(straight["init"]["endpoint"], "http://localhost:4711/api/v1");
    EXPECT_EQ(straight["data"]["expires_at"], "2025-03-14T12:00:00Z");
    EXPECT_FALSE(straight.toObject().contains("companies") || straight.toObject().contains("access_token"));

    signIn("many@velmora.example");
    const QJsonArray companies = answer(login("many@velmora.example"))["data"]["companies"].toArray();
    EXPECT_EQ(companies.size(), 3);
    for (const QJsonValue& company : companies) {
        const std::string path = QUrl(company["endpoint"].toString()).path().toStdString();
        EXPECT_EQ(answer(replacing(configuration(), "/api/v1", path))["data"]["company_name"], company["name"]);
    }
    expect(200, login("wrong@velmora.example", "not-demo1234"));
    expect(401, login("wrong@velmora.example"));
    EXPECT_EQ(send(login("wrong@velmora.example")).body, send(login("nobody@velmora.example")).body);
}

TEST_F(BackendTest, AOneTimeCodeIsGoodOnceForTenMinutes) {
    const std::string email = "otp@velmora.example";
    const auto sendCode = [&] {
        send(request(authentication + "generateOtp", R"({"via":"email","email":")" + email + "\"}"));
        return answer(request("/control/otp?email=" + email))["code"].toString().toStdString();
    };
    const auto loginWith = [&](const std::string& code) {
        return send(replacing(login(email, code), "\"use_jwt\"", "\"is_otp\":1,\"use_jwt\"")).status;
    };
    EXPECT_EQ(answer(login(email))["data"]["otp_required"], 1);
    const std::string first = sendCode();
    EXPECT_EQ(loginWith(first), 200);
    EXPECT_EQ(loginWith(first), 401);
    const std::string second = sendCode();
    clock = clock + 600;
    EXPECT_EQ(loginWith(second), 401);
}

TEST_F(BackendTest, TokensRotateExpireAndAreRevoked) {
    signIn();
    const Outgoing oldConfiguration = configuration(), oldRefresh = refresh();
    take(oldRefresh);
    expect(200, configuration());
    expect(401, oldRefresh);
    expect(401, oldConfiguration);
    clock = clock + 3600;
    expect(401, configuration());
    signIn();
    send(request("/control/expire-tokens", "{}"));
    expect(401, configuration());
    take(refresh());
    send(request("/control/expire-tokens", R"({"refresh":true})"));
    expect(401, refresh());

    signIn();
    const Outgoing logout = replacing(refresh(), "/refresh", "/logout");
    expect(401, logout, "bearer");
    expect(200, withBearer(logout));
    expect(401, refresh());
    expect(401, configuration());
}

TEST_F(BackendTest, RequestsThatTheClientWouldNotSendAreRefusedWithAReason) {
    signIn();
    const Outgoing good = login("demo@velmora.example"), config = configuration();
    expect(400, with(good, "app-client", "ios"), "app-client");
    expect(400, with(good, "X-App", ""), "X-App");
    expect(400, withBearer(good), "Authorization");
    expect(400, replacing(good, "{", "["), "not JSON");
    expect(422, replacing(good, "\"password\":\"demo1234\",", ""), "password");
    expect(422, replacing(good, "\"use_jwt\"", "\"extra\":1,\"use_jwt\""), "extra");
    expect(401, with(config, "Authorization", ""), "bearer");
    expect(403, replacing(config, "/api", "/c/harbour/api"), "company");
    expect(403, with(config, "Origin", "http://tracker.example"), "origin");
}
