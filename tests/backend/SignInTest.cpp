#include "BackendTest.h"

#include <QUrl>

TEST_F(BackendTest, EachAccountGoesOnItsOwnWay) {
    const QJsonObject straight = send(with(login("Demo@velmora.example"), "Host", "localhost:4711")).data();
    EXPECT_EQ(text(straight[u"init"][u"endpoint"]), "http://localhost:4711/api/v1");
    EXPECT_EQ(text(straight[u"data"][u"expires_at"]), "2025-03-14T12:00:00Z");
    EXPECT_FALSE(straight.contains(u"companies") || straight.contains(u"access_token"));

    const QJsonObject many = send(login("many@velmora.example")).data();
    take(many);
    EXPECT_EQ(many[u"companies"].toArray().size(), 3);
    for (const QJsonValue& company : many[u"companies"].toArray()) {
        const std::string path = QUrl(company[u"endpoint"].toString()).path().toStdString();
        const Outgoing there = replacing(query(employees + "config"), "/api/v1", path);
        EXPECT_EQ(send(there).data()[u"company_name"], company[u"name"]);
    }
    EXPECT_EQ(send(login("wrong@velmora.example", "not-demo1234")).status, 200);
    EXPECT_EQ(send(login("wrong@velmora.example")).status, 401);
    EXPECT_EQ(send(login("wrong@velmora.example")).raw, send(login("nobody@velmora.example")).raw);
}

TEST_F(BackendTest, AOneTimeCodeIsGoodOnceForTenMinutes) {
    const std::string email = "otp@velmora.example";
    const auto sendCode = [&] {
        send(post("authentication/generateOtp", R"({"via":"email","email":")" + email + "\"}"));
        return text(json(get("/control/otp?email=" + email).raw)[u"code"]);
    };
    const auto loginWith = [&](const std::string& code) {
        return send(replacing(login(email, code), "\"use_jwt\"", "\"is_otp\":1,\"use_jwt\"")).status;
    };
    EXPECT_EQ(send(login(email)).data()[u"otp_required"].toInt(), 1);
    const std::string first = sendCode();
    EXPECT_EQ(loginWith(first), 200);
    EXPECT_EQ(loginWith(first), 401);
    const std::string second = sendCode();
    clock = clock + 600;
    EXPECT_EQ(loginWith(second), 401);
}

TEST_F(BackendTest, TokensRotateExpireAndAreRevoked) {
    signIn();
    const Outgoing oldConfig = query(employees + "config"), oldRefresh = refresh();
    take(send(oldRefresh).data());
    EXPECT_EQ(configuration().status, 200);
    expectAnswers({{"", oldRefresh, 401}, {"", oldConfig, 401}});
    clock = clock + 3600;
    EXPECT_EQ(configuration().status, 401);
    signIn();
    control("expire-tokens");
    EXPECT_EQ(configuration().status, 401);
    take(send(refresh()).data());
    control("expire-tokens", R"({"refresh":true})");
    EXPECT_EQ(send(refresh()).status, 401);

    signIn();
    const Outgoing logout = post("authentication/logout", refresh().body);
    expectAnswers({{"bearer", logout, 401},
                   {"", with(logout, "Authorization", "Bearer " + accessToken), 200},
                   {"", refresh(), 401},
                   {"", query(employees + "config"), 401}});
}

TEST_F(BackendTest, RequestsThatTheClientWouldNotSendAreRefusedWithAReason) {
    signIn();
    const Outgoing good = login("demo@velmora.example"), config = query(employees + "config");
    expectAnswers({
        {"app-client", with(good, "app-client", "ios"), 400},
        {"X-App", with(good, "X-App", ""), 400},
        {"Authorization", with(good, "Authorization", "Bearer x"), 400},
        {"not JSON", replacing(good, "{", "["), 400},
        {"password", replacing(good, "\"password\":\"demo1234\",", ""), 422},
        {"extra", replacing(good, "\"use_jwt\"", "\"extra\":1,\"use_jwt\""), 422},
        {"bearer", with(config, "Authorization", ""), 401},
        {"company", replacing(config, "/api", "/c/harbour/api"), 403},
        {"origin", with(config, "Origin", "http://tracker.example"), 403},
    });
}
