#include "BackendTest.h"

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
        {"", login("demo@velmora.example", "not-demo1234"), 401},
        {"not JSON", replacing(good, "{", "["), 400},
        {"password", replacing(good, "\"password\":\"demo1234\",", ""), 422},
        {"extra", replacing(good, "\"use_jwt\"", "\"extra\":1,\"use_jwt\""), 422},
        {"bearer", with(config, "Authorization", ""), 401},
        {"company", replacing(config, "/api", "/c/harbour/api"), 403},
        {"origin", with(config, "Origin", "http://tracker.example"), 403},
    });
}
