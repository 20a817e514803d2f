#include "BackendTest.h"

#include <QSet>
#include <QUrl>

TEST_F(BackendTest, EachAccountGoesOnItsOwnWay) {
    const Outgoing byName = with(login("Demo@velmora.example"), "Host", "localhost:4711");
    const QJsonObject straight = send(byName).data();
    EXPECT_EQ(text(straight[u"init"][u"endpoint"]), "http://localhost:4711/api/v1");
    EXPECT_EQ(text(straight[u"data"][u"expires_at"]), "2025-03-14T12:00:00Z");
    EXPECT_FALSE(straight.contains(u"companies") || straight.contains(u"access_token"));

    const QJsonObject many = send(login("many@velmora.example")).data();
    take(many);
    EXPECT_FALSE(many.contains(u"init"));
    QSet<QString> hosts, addresses;
    for (const QJsonValue& company : many[u"companies"].toArray()) {
        const QUrl url(company[u"endpoint"].toString());
        hosts.insert(url.host());
        addresses.insert(url.toString());
        const Outgoing there = replacing(query(employees + "config"), "/api/v1", url.path().toStdString());
        EXPECT_EQ(send(there).data()[u"company_name"], company[u"name"]);
    }
    EXPECT_TRUE(addresses.size() == 3 && hosts.size() == 2);

    const QJsonObject plain = send(login("plain@velmora.example")).data();
    EXPECT_EQ(text(plain[u"expires_at"]), "2025-03-14 12:00:00");
    EXPECT_FALSE(plain.contains(u"init") || plain.contains(u"companies") || plain.contains(u"data"));
    EXPECT_EQ(send(login("demo@velmora.example", "wrong")).raw, send(login("nobody@velmora.example")).raw);
}

TEST_F(BackendTest, AOneTimeCodeIsGoodOnceForTenMinutesAndFiveAttempts) {
    const std::string email = "otp@velmora.example";
    const auto sendCode = [&] {
        send(post("authentication/generateOtp", R"({"via":"email","email":")" + email + "\"}"));
        return text(json(get("/control/otp?email=" + email).raw)[u"code"]);
    };
    const auto loginWith = [&](const std::string& code) {
        return send(replacing(login(email, code), "\"use_jwt\"", "\"is_otp\":1,\"use_jwt\"")).status;
    };
    const QJsonObject asked = send(login(email)).data();
    EXPECT_TRUE(asked[u"otp_required"].toInt() == 1 && !asked.contains(u"data"));
    const std::string first = sendCode();
    EXPECT_EQ(loginWith(first), 200);
    EXPECT_EQ(loginWith(first), 401);
    const std::string second = sendCode();
    clock = clock + 600;
    EXPECT_EQ(loginWith(second), 401);
    const std::string third = sendCode();
    for (int attempt = 0; attempt < 5; ++attempt)
        EXPECT_EQ(loginWith("wrong"), 401);
    EXPECT_EQ(loginWith(third), 401);
}

TEST_F(BackendTest, TokensRotateExpireAndAreRevoked) {
    for (const char* email : {"demo@velmora.example", "many@velmora.example"}) { // nested and flat tokens
        signIn(email);
        const Outgoing oldConfig = query(employees + "config"), oldRefresh = refresh();
        take(send(oldRefresh).data());
        EXPECT_EQ(configuration().status, 200);
        expectAnswers({{"", oldRefresh, 401}, {"", oldConfig, 401}});
    }
    signIn();
    control("config", R"({"access_token_seconds":5})");
    for (const auto& [pass, status] : {std::pair(3599, 200), {1, 401}}) {
        clock = clock + pass;
        EXPECT_EQ(configuration().status, status);
    }
    signIn();
    clock = clock + 5;
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

TEST_F(BackendTest, TheConfigurationIsTheCompanysAndChangesOnDemand) {
    signIn();
    const QJsonObject before = configuration().data();
    EXPECT_TRUE(text(before[u"name"]) == "Dana Demo" && text(before[u"projects"][0][u"project_id"]) == "101");
    control("config", R"({"company":"velmora","latest_client_version":"9.0","idle_action":null})");
    control("config", R"({"company":"harbour","idle_minutes_threshold":99})");
    const QJsonObject after = configuration().data();
    EXPECT_EQ(text(after[u"latest_client_version"]), "9.0");
    EXPECT_TRUE(before.contains(u"idle_action") && !after.contains(u"idle_action"));
    EXPECT_EQ(after[u"idle_minutes_threshold"], before[u"idle_minutes_threshold"]);
}

TEST_F(BackendTest, RequestsThatTheClientWouldNotSendAreRefusedWithAReason) {
    signIn();
    const Outgoing good = login("demo@velmora.example"), config = query(employees + "config");
    const Outgoing recovery =
        post("authentication/password/recovery", R"({"email":"a@b.example","mobile":1})");
    expectAnswers({
        {"Content-Type", with(good, "Content-Type", "text/plain"), 400},
        {"app-client", with(good, "app-client", "ios"), 400},
        {"X-App", with(good, "X-App", ""), 400},
        {"Authorization", with(good, "Authorization", "Bearer x"), 400},
        {"not JSON", replacing(good, "{", "["), 400},
        {"password", replacing(good, "\"password\":\"demo1234\",", ""), 422},
        {"use_jwt", replacing(good, "\"use_jwt\":1", "\"use_jwt\":true"), 422},
        {"extra", replacing(good, "\"use_jwt\"", "\"extra\":1,\"use_jwt\""), 422},
        {"app-client", recovery, 400},
        {"", with(recovery, "app-client", "IOS"), 200},
        {"bearer", with(config, "Authorization", ""), 401},
        {"Content-Type", with(config, "Content-Type", ""), 400},
        {"company", replacing(config, "/api", "/c/harbour/api"), 403},
        {"Host", with(config, "Host", "tracker.example"), 403},
        {"origin", with(config, "Origin", "http://tracker.example"), 403},
        {"endpoint", query("authentication/singleLogin"), 404},
    });
}
