#include "BackendTest.h"

#include <QSet>
#include <QUrl>

TEST_F(BackendTest, EachAccountGoesOnItsOwnWay) {
    const QJsonObject straight = send(login("Demo@velmora.example")).data();
    EXPECT_EQ(straight[u"init"][u"endpoint"].toString(), server->url() + u"api/v1"_qs);
    EXPECT_EQ(text(straight[u"user"][u"email"]), "demo@velmora.example");
    EXPECT_EQ(text(straight[u"data"][u"token_type"]), "Bearer");
    EXPECT_EQ(text(straight[u"data"][u"expires_at"]), "2025-03-14T12:00:00Z");
    EXPECT_FALSE(straight.contains(u"companies") || straight.contains(u"access_token"));
    const Outgoing byName = login("demo@velmora.example").with("Host", "localhost:4711");
    EXPECT_EQ(text(send(byName).data()[u"init"][u"endpoint"]), "http://localhost:4711/api/v1");

    const QJsonObject many = send(login("many@velmora.example")).data();
    take(many);
    EXPECT_EQ(text(many[u"expires_at"]), "2025-03-14 12:00:00");
    EXPECT_FALSE(many.contains(u"init"));
    QSet<QString> hosts, addresses;
    for (const QJsonValue& company : many[u"companies"].toArray()) {
        const QUrl url(company[u"endpoint"].toString());
        hosts.insert(url.host());
        addresses.insert(url.toString());
        const Outgoing there = query(employees + "config").replacing("/api/v1", url.path().toStdString());
        EXPECT_EQ(send(there).data()[u"company_name"], company[u"name"]);
    }
    EXPECT_TRUE(addresses.size() == 3 && hosts.size() == 2);

    const QJsonObject plain = send(login("plain@velmora.example")).data();
    EXPECT_TRUE(plain.contains(u"access_token"));
    EXPECT_FALSE(plain.contains(u"init") || plain.contains(u"companies") || plain.contains(u"data"));
    EXPECT_EQ(send(login("demo@velmora.example", "wrong")).raw, send(login("nobody@velmora.example")).raw);
}

TEST_F(BackendTest, AOneTimeCodeIsAskedForAndGoodOnceForTenMinutesAndFiveAttempts) {
    const std::string email = "otp@velmora.example";
    const auto waiting = [&] { return text(get("/control/otp?email=" + email).body()[u"code"]); };
    const auto loginWith = [&](const std::string& code) {
        return send(login(email, code).replacing("\"use_jwt\"", "\"is_otp\":1,\"use_jwt\"")).status;
    };
    const QJsonObject asked = send(login(email)).data();
    EXPECT_TRUE(asked[u"otp_required"].toInt() == 1 && !asked.contains(u"data"));
    const std::string first = waiting();
    EXPECT_EQ(first.size(), 6U);
    EXPECT_EQ(loginWith("12345"), 401);
    EXPECT_EQ(loginWith(first), 200);
    EXPECT_EQ(loginWith(first), 401) << "a code was taken twice";
    const Outgoing again =
        post("authentication/generateOtp", R"({"email":")" + email + R"(","via":"email"})");
    EXPECT_EQ(send(again).status, 200);
    clock = clock + 600;
    EXPECT_EQ(loginWith(waiting()), 401) << "a code outlived its ten minutes";
    send(again);
    const std::string last = waiting();
    for (int attempt = 0; attempt < 5; ++attempt)
        EXPECT_EQ(loginWith("wrong"), 401);
    EXPECT_EQ(loginWith(last), 401);
}

TEST_F(BackendTest, TokensRotateExpireAndAreRevoked) {
    for (const bool isFlat : {false, true}) {
        signIn(isFlat ? "many@velmora.example" : "demo@velmora.example");
        const std::string oldAccess = accessToken;
        const Outgoing oldRefresh = refresh();
        const QJsonObject once = send(oldRefresh).data();
        EXPECT_EQ(once.contains(u"data"), !isFlat);
        take(isFlat ? once : once[u"data"].toObject());
        EXPECT_EQ(configurationStatus(), 200);
        EXPECT_EQ(send(oldRefresh).status, 401);
        accessToken = oldAccess;
        EXPECT_EQ(configurationStatus(), 401);
    }
    signIn();
    clock = clock + 3599;
    EXPECT_EQ(configurationStatus(), 200);
    clock = clock + 1;
    EXPECT_EQ(configurationStatus(), 401);
    signIn();
    control("expire-tokens");
    EXPECT_EQ(configurationStatus(), 401);
    EXPECT_EQ(send(refresh()).status, 200) << "the refresh token went with the access token";
    signIn();
    control("expire-tokens", R"({"refresh":true})");
    EXPECT_EQ(send(refresh()).status, 401);
    control("config", R"({"access_token_seconds":5})");
    signIn();
    clock = clock + 5;
    EXPECT_EQ(configurationStatus(), 401);

    signIn();
    const Outgoing logout = post("authentication/logout", refresh().body);
    EXPECT_EQ(send(logout).status, 401) << "logout without a bearer token";
    EXPECT_EQ(send(logout.with("Authorization", "Bearer " + accessToken)).status, 200);
    EXPECT_EQ(configurationStatus(), 401);
    EXPECT_EQ(send(refresh()).status, 401);
}

TEST_F(BackendTest, TheConfigurationIsTheCompanysAndChangesOnDemand) {
    signIn();
    const QJsonObject before = configuration();
    EXPECT_EQ(text(before[u"projects"][0][u"project_id"]), "101");
    EXPECT_EQ(text(before[u"name"]), "Dana Demo");
    EXPECT_EQ(configuration(), before);
    control("config", R"({"company":"velmora","latest_client_version":"9.0","idle_action":null})");
    control("config", R"({"company":"harbour","idle_minutes_threshold":99})");
    const QJsonObject after = configuration();
    EXPECT_EQ(text(after[u"latest_client_version"]), "9.0");
    EXPECT_FALSE(after.contains(u"idle_action"));
    EXPECT_EQ(after[u"idle_minutes_threshold"], before[u"idle_minutes_threshold"]);
}

TEST_F(BackendTest, RequestsThatTheClientWouldNotSendAreRefusedWithAReason) {
    signIn();
    const Outgoing good = login("demo@velmora.example"), config = query(employees + "config");
    const Outgoing recovery =
        post("authentication/password/recovery", R"({"email":"a@b.example","mobile":1})");
    expectAnswers({
        {"Content-Type", good.with("Content-Type", "text/plain"), 400},
        {"Accept", good.with("Accept", "*/*"), 400},
        {"app-client", good.with("app-client", "ios"), 400},
        {"app-client", good.with("app-client", ""), 400},
        {"X-App", good.with("X-App", ""), 400},
        {"Authorization", good.with("Authorization", "Bearer x"), 400},
        {"not JSON", good.replacing("{", "["), 400},
        {"JSON object", post("authentication/singleLogin", "[]"), 400},
        {"password", good.replacing("\"password\":\"demo1234\",", ""), 422},
        {"remember_me", good.replacing("\"remember_me\":1", "\"remember_me\":0"), 422},
        {"use_jwt", good.replacing("\"use_jwt\":1", "\"use_jwt\":true"), 422},
        {"is_otp", good.replacing("\"use_jwt\"", "\"is_otp\":null,\"use_jwt\""), 422},
        {"extra", good.replacing("\"use_jwt\"", "\"extra\":1,\"use_jwt\""), 422},
        {"via", post("authentication/generateOtp", R"({"email":"a@b.example","via":"sms"})"), 422},
        {"app-client", recovery, 400},
        {"", recovery.with("app-client", "IOS"), 200},
        {"refresh_token", post("authentication/refresh", R"({"refresh_token":""})"), 422},
        {"bearer", config.with("Authorization", ""), 401},
        {"token", config.with("Authorization", "Bearer x"), 401},
        {"Content-Type", config.with("Content-Type", ""), 400},
        {"company", config.replacing("/api", "/c/harbour/api"), 403},
        {"Host", config.with("Host", "tracker.example"), 403},
        {"origin", config.with("Origin", "http://tracker.example"), 403},
        {"endpoint", query("hr/timetracker/unknown"), 404},
        {"endpoint", query("authentication/singleLogin"), 404},
    });
}
