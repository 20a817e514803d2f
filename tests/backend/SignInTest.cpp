#include "BackendTest.h"

#include <QRegularExpression>

class SignInTest : public BackendTest {
protected:
    int configurationStatus() { return send(jsonGet("hr/timetracker/employees/config")).status; }
};

TEST_F(SignInTest, TheStraightAccountGetsNestedTokensAndThisServersAddress) {
    const QJsonObject data = send(login("Demo@velmora.example", "demo1234")).data();
    const QString base = server->url() + u"api/v1"_qs;
    EXPECT_EQ(data[u"init"][u"endpoint"].toString(), base);
    EXPECT_EQ(data[u"user"][u"email"].toString(), u"demo@velmora.example");
    EXPECT_EQ(data[u"data"][u"token_type"].toString(), u"Bearer");
    EXPECT_EQ(data[u"data"][u"expires_at"].toString(), u"2025-03-14T12:00:00Z");
    EXPECT_FALSE(data.contains(u"companies") || data.contains(u"access_token"));
}

TEST_F(SignInTest, TheEndpointFollowsTheHostThatTheClientUsed) {
    Outgoing request = login("demo@velmora.example", "demo1234");
    request.headers.emplace("Host", "localhost:4711");
    EXPECT_EQ(send(request).data()[u"init"][u"endpoint"].toString(), u"http://localhost:4711/api/v1");
}

TEST_F(SignInTest, SeveralCompaniesAreListedWithAddressesThatDifferAndWork) {
    const QJsonObject data = send(login("many@velmora.example", "demo1234")).data();
    accessToken = data.value(u"access_token").toString();
    EXPECT_EQ(data.value(u"expires_at").toString(), u"2025-03-14 12:00:00");
    EXPECT_FALSE(data.contains(u"init"));
    QSet<QString> hosts, addresses;
    for (const QJsonValue& company : data.value(u"companies").toArray()) {
        const QUrl url(company[u"endpoint"].toString());
        hosts.insert(url.host());
        addresses.insert(url.toString());
        Outgoing request = jsonGet("hr/timetracker/employees/config");
        request.path = url.path().toStdString() + "/hr/timetracker/employees/config";
        EXPECT_EQ(send(request).data().value(u"company_name"), company[u"name"]);
    }
    EXPECT_EQ(addresses.size(), 3);
    EXPECT_EQ(hosts, (QSet<QString>{u"127.0.0.1"_qs, u"localhost"_qs}));
}

TEST_F(SignInTest, AnAccountMayGetNeitherEndpointNorCompanies) {
    const QJsonObject data = send(login("plain@velmora.example", "demo1234")).data();
    EXPECT_TRUE(data.contains(u"access_token"));
    EXPECT_FALSE(data.contains(u"init") || data.contains(u"companies") || data.contains(u"data"));
}

TEST_F(SignInTest, AOneTimeCodeIsAskedForAndGoodOnce) {
    const QJsonObject asked = send(login("otp@velmora.example", "demo1234")).data();
    EXPECT_EQ(asked.value(u"otp_required").toInt(), 1);
    EXPECT_FALSE(asked.contains(u"data"));
    const auto waitingCode = [this] {
        return get("/control/otp?email=otp@velmora.example").body.value(u"code").toString();
    };
    const QString first = waitingCode();
    EXPECT_TRUE(QRegularExpression(u"\\A\\d{6}\\z"_qs).match(first).hasMatch());
    const auto loginWith = [this](const QString& code) {
        QJsonObject body{{u"email"_qs, u"otp@velmora.example"_qs},
                         {u"password"_qs, code},
                         {u"remember_me"_qs, 1},
                         {u"use_jwt"_qs, 1},
                         {u"is_otp"_qs, 1}};
        return send(jsonPost("authentication/singleLogin", body));
    };
    EXPECT_EQ(loginWith(u"12345"_qs).status, 401);
    EXPECT_TRUE(loginWith(waitingCode()).data().contains(u"init"));
    EXPECT_EQ(loginWith(first).status, 401) << "a code was taken twice";

    const QJsonObject again{{u"email"_qs, u"otp@velmora.example"_qs}, {u"via"_qs, u"email"_qs}};
    EXPECT_EQ(send(jsonPost("authentication/generateOtp", again)).status, 200);
    clock = clock + 600;
    EXPECT_EQ(loginWith(waitingCode()).status, 401) << "a code outlived its ten minutes";
}

TEST_F(SignInTest, FiveWrongCodesUseUpTheRightOne) {
    send(login("otp@velmora.example", "demo1234"));
    const QString code = get("/control/otp?email=otp@velmora.example").body.value(u"code").toString();
    QJsonObject body{{u"email"_qs, u"otp@velmora.example"_qs},
                     {u"password"_qs, u"wrong"_qs},
                     {u"remember_me"_qs, 1},
                     {u"use_jwt"_qs, 1},
                     {u"is_otp"_qs, 1}};
    for (int attempt = 0; attempt < 5; ++attempt)
        EXPECT_EQ(send(jsonPost("authentication/singleLogin", body)).status, 401);
    body.insert(u"password"_qs, code);
    EXPECT_EQ(send(jsonPost("authentication/singleLogin", body)).status, 401);
}

TEST_F(SignInTest, WrongCredentialsAreRefusedAlike) {
    const Answer wrongPassword = send(login("demo@velmora.example", "demo12345"));
    const Answer nobody = send(login("nobody@velmora.example", "demo1234"));
    EXPECT_EQ(wrongPassword.status, 401);
    EXPECT_EQ(nobody.status, 401);
    EXPECT_EQ(wrongPassword.message(), nobody.message());
}

TEST_F(SignInTest, RefreshRotatesBothTokensAndRefusesTheOldOnes) {
    for (const char* email : {"demo@velmora.example", "many@velmora.example"}) {
        signIn(email);
        const QString oldAccess = accessToken;
        const QString oldRefresh = refreshToken;
        const QJsonObject once = send(refresh(oldRefresh)).data();
        EXPECT_EQ(once.contains(u"data"), email == std::string("demo@velmora.example"));
        const QJsonObject tokens = once.contains(u"data") ? once.value(u"data").toObject() : once;
        accessToken = tokens.value(u"access_token").toString();
        EXPECT_EQ(configurationStatus(), 200);
        EXPECT_NE(tokens.value(u"refresh_token").toString(), oldRefresh);
        EXPECT_EQ(send(refresh(oldRefresh)).status, 401);
        accessToken = oldAccess;
        EXPECT_EQ(configurationStatus(), 401);
    }
}

TEST_F(SignInTest, TokensExpireByTimeAndOnDemand) {
    signIn();
    clock = clock + 3599;
    EXPECT_EQ(configurationStatus(), 200);
    clock = clock + 1;
    EXPECT_EQ(configurationStatus(), 401);
    signIn();
    EXPECT_EQ(configurationStatus(), 200);
    control("expire-tokens");
    EXPECT_EQ(configurationStatus(), 401);
    EXPECT_EQ(send(refresh(refreshToken)).status, 200) << "the refresh token went with the access token";
    signIn();
    control("expire-tokens", {{u"refresh"_qs, true}});
    EXPECT_EQ(send(refresh(refreshToken)).status, 401);

    control("config", {{u"access_token_seconds"_qs, 5}});
    signIn();
    clock = clock + 5;
    EXPECT_EQ(configurationStatus(), 401);
}

TEST_F(SignInTest, LogoutRevokesBothTokens) {
    signIn();
    Outgoing logout = jsonPost("authentication/logout", {{u"refresh_token"_qs, refreshToken}});
    EXPECT_EQ(send(logout).status, 401) << "logout without a bearer token";
    logout.headers.emplace("Authorization", "Bearer " + accessToken.toStdString());
    EXPECT_EQ(send(logout).status, 200);
    EXPECT_EQ(configurationStatus(), 401);
    EXPECT_EQ(send(refresh(refreshToken)).status, 401);
}

TEST_F(SignInTest, AForeignCompanyIsRefused) {
    signIn();
    Outgoing request = jsonGet("hr/timetracker/employees/config");
    request.path = "/c/harbour" + request.path;
    EXPECT_EQ(send(request).status, 403);
}

TEST_F(SignInTest, TheConfigurationIsTheCompanysAndChangesOnDemand) {
    signIn();
    const auto configuration = [this] { return send(jsonGet("hr/timetracker/employees/config")).data(); };
    const QJsonObject before = configuration();
    EXPECT_EQ(before.value(u"screenshot_interval_minutes").toInt(), 1);
    EXPECT_EQ(before[u"projects"][0][u"project_id"].toString(), u"101");
    EXPECT_EQ(before.value(u"name").toString(), u"Dana Demo");
    EXPECT_EQ(before.value(u"today_date").toString(), u"2025-03-14");
    EXPECT_EQ(configuration().value(u"device_id"), before.value(u"device_id"));

    control("config", {{u"company"_qs, u"velmora"_qs},
                       {u"latest_client_version"_qs, u"9.0"_qs},
                       {u"idle_action"_qs, QJsonValue::Null}});
    control("config", {{u"company"_qs, u"harbour"_qs}, {u"idle_minutes_threshold"_qs, 99}});
    const QJsonObject after = configuration();
    EXPECT_EQ(after.value(u"latest_client_version").toString(), u"9.0");
    EXPECT_FALSE(after.contains(u"idle_action"));
    EXPECT_EQ(after.value(u"idle_minutes_threshold").toInt(), 5);
    EXPECT_EQ(control("config", {{u"company"_qs, u"none"_qs}}).status, 404);
}

TEST_F(SignInTest, RequestsThatTheClientWouldNotSendAreRefusedWithAReason) {
    signIn();
    const Outgoing good = login("demo@velmora.example", "demo1234");
    const auto withHeader = [](Outgoing request, const char* name, const char* value) {
        request.headers.erase(name);
        if (*value)
            request.headers.emplace(name, value);
        return request;
    };
    const auto withType = [](Outgoing request, const char* type) {
        request.contentType = type;
        return request;
    };
    const auto withBody = [](Outgoing request, const char* body) {
        request.body = body;
        return request;
    };
    const auto loginBody = [this](const QJsonObject& body) {
        return jsonPost("authentication/singleLogin", body);
    };
    const QString email = u"demo@velmora.example"_qs;
    const QJsonObject recovery{{u"email"_qs, email}, {u"mobile"_qs, 1}};
    const Outgoing config = jsonGet("hr/timetracker/employees/config");
    const struct {
        const char* what;
        Outgoing request;
        int status;
        const char* reason;
    } cases[] = {
        {"content type", withType(good, "text/plain"), 400, "Content-Type"},
        {"accept", withHeader(good, "Accept", "*/*"), 400, "Accept"},
        {"client of uploads", withHeader(good, "app-client", "ios"), 400, "app-client"},
        {"no client", withHeader(good, "app-client", ""), 400, "app-client"},
        {"no application", withHeader(good, "X-App", ""), 400, "X-App"},
        {"bearer at sign-in", withHeader(good, "Authorization", "Bearer x"), 400, "Authorization"},
        {"not JSON", withBody(good, "{"), 400, "not JSON"},
        {"no object", withBody(good, "[]"), 400, "JSON object"},
        {"no password", loginBody({{u"email"_qs, email}, {u"remember_me"_qs, 1}, {u"use_jwt"_qs, 1}}), 422,
         "password"},
        {"remember_me 0",
         loginBody(
             {{u"email"_qs, email}, {u"password"_qs, u"x"_qs}, {u"remember_me"_qs, 0}, {u"use_jwt"_qs, 1}}),
         422, "remember_me"},
        {"use_jwt true",
         loginBody({{u"email"_qs, email},
                    {u"password"_qs, u"x"_qs},
                    {u"remember_me"_qs, 1},
                    {u"use_jwt"_qs, true}}),
         422, "use_jwt"},
        {"is_otp null",
         loginBody({{u"email"_qs, email},
                    {u"password"_qs, u"x"_qs},
                    {u"remember_me"_qs, 1},
                    {u"use_jwt"_qs, 1},
                    {u"is_otp"_qs, QJsonValue::Null}}),
         422, "is_otp"},
        {"unknown key",
         loginBody({{u"email"_qs, email},
                    {u"password"_qs, u"x"_qs},
                    {u"remember_me"_qs, 1},
                    {u"use_jwt"_qs, 1},
                    {u"extra"_qs, 1}}),
         422, "extra"},
        {"code by text message",
         jsonPost("authentication/generateOtp", {{u"email"_qs, email}, {u"via"_qs, u"sms"_qs}}), 422, "via"},
        {"recovery as mac", jsonPost("authentication/password/recovery", recovery), 400, "app-client"},
        {"recovery as IOS", jsonPost("authentication/password/recovery", recovery, "IOS"), 200, ""},
        {"empty refresh token", refresh(u""_qs), 422, "refresh_token"},
        {"no bearer", withHeader(config, "Authorization", ""), 401, "bearer"},
        {"no token in the bearer", withHeader(config, "Authorization", "Bearer x"), 401, "token"},
        {"GET without type", withHeader(config, "Content-Type", ""), 400, "Content-Type"},
        {"foreign host", withHeader(config, "Host", "tracker.example"), 403, "Host"},
        {"foreign origin", withHeader(config, "Origin", "http://tracker.example"), 403, "origin"},
        {"unknown path", jsonGet("hr/timetracker/unknown"), 404, "endpoint"},
        {"wrong method", jsonGet("authentication/singleLogin"), 404, "endpoint"},
    };
    for (const auto& each : cases) {
        const Answer answer = send(each.request);
        EXPECT_EQ(answer.status, each.status) << each.what << ": " << answer.message();
        EXPECT_NE(answer.message().find(each.reason), std::string::npos)
            << each.what << ": " << answer.message();
    }
}
