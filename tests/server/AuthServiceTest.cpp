#include "ServerWorld.h"

namespace {

using Kind = APIError::Kind;

class AuthServiceTest : public ServerTest {
protected:
    AuthServiceTest() {
        services.domain.setBaseURL(DomainStorage::buildBaseURL("old.example"));
        UserProfileStorage::set("User", "Company", machine.preferences);
        machine.preferences.set(PreferenceKey::apiTimezoneIdentifier, "Asia/Tokyo");
        machine.preferences.set(PreferenceKey::lastSelectedCompanyEndpoint, "old.example");
        machine.preferences.set(PreferenceKey::rememberedLoginEmail, "a@b.example");
        machine.timeline.setZone("Europe/Paris");
    }

    void expectSignedOut(const char* what) {
        EXPECT_FALSE(tokens()) << what;
        EXPECT_FALSE(services.domain.getBaseURL()) << what;
        EXPECT_FALSE(preference(PreferenceKey::userName)) << what;
        EXPECT_FALSE(preference(PreferenceKey::companyName)) << what;
        EXPECT_EQ(preference(PreferenceKey::lastSelectedCompanyEndpoint), "old.example") << what;
        EXPECT_EQ(preference(PreferenceKey::rememberedLoginEmail), "a@b.example") << what;
    }
    QString baseURL() const { return services.domain.getBaseURL().value_or(QUrl()).toString(); }
    static QJsonObject with(QJsonObject data, const QJsonObject& more) {
        for (auto entry = more.begin(); entry != more.end(); ++entry)
            data.insert(entry.key(), entry.value());
        return data;
    }
};

TEST_F(AuthServiceTest, LoginHasThreeOutcomes) {
    const QJsonObject user{{"email", "u@b.example"}, {"name", "Uma"}};
    const QJsonObject nameless{{"email", "u@b.example"}};
    const QJsonArray companies{QJsonObject{{"name", "Z"}, {"endpoint", "z.example"}},
                               QJsonObject{{"name", "A"}, {"endpoint", "a.example"}}};
    const auto init = [](const char* endpoint) { return QJsonObject{{"endpoint", endpoint}}; };
    const QJsonObject flat = tokenReply("flat");
    const QJsonObject nested{{"data", tokenReply("nested")}};
    enum Case { otp, selection, direct, failure };
    const struct {
        const char* name;
        QJsonObject data;
        Case outcome;
        const char* text;    ///< userEmail, userName, or the e-mail of the user.
        const char* stored;  ///< Whose tokens are stored then.
        const char* baseURL; ///< Null: as it was.
    } cases[] = {
        {"otp", with(flat, {{"otp_required", 1}, {"user", user}}), otp, "u@b.example", nullptr, nullptr},
        {"otp without user", {{"otp_required", 1}}, otp, "", nullptr, nullptr},
        {"otp 0", with(flat, {{"otp_required", 0}}), direct, "", "flat", nullptr},
        {"otp 2", with(flat, {{"otp_required", 2}}), direct, "", "flat", nullptr},
        {"nested wins", with(flat, nested), direct, "", "nested", nullptr},
        {"init", with(nested, {{"init", init("new.example")}, {"user", user}, {"companies", companies}}),
         direct, "u@b.example", "nested", "https://new.example/api/v1/"},
        {"blank init", with(nested, {{"init", init(" \n")}, {"companies", companies}}), direct, "", "nested",
         nullptr},
        {"companies", with(flat, {{"companies", companies}, {"user", user}}), selection, "Uma", "flat",
         nullptr},
        {"nameless user", with(flat, {{"companies", companies}, {"user", nameless}}), selection,
         "u@b.example", "flat", nullptr},
        {"no user", with(flat, {{"companies", companies}}), selection, "User", "flat", nullptr},
        {"no companies", with(flat, {{"companies", QJsonArray()}}), direct, "", "flat", nullptr},
        {"three flat tokens", with(flat, {{"expires_at", QJsonValue()}}), failure, "", nullptr, nullptr},
        {"no tokens", {{"user", user}, {"init", init("new.example")}}, failure, "", nullptr, nullptr},
    };
    for (const auto& [name, data, outcome, text, stored, baseAfter] : cases) {
        services.keychain.deleteAuthTokens();
        services.domain.setBaseURL(DomainStorage::buildBaseURL("old.example"));
        answer(200, wrapped(data));
        const auto login = started(services.auth.login("a@b.example", "c4n4ry"));
        pass(1);
        if (outcome == failure) {
            EXPECT_TRUE(login->failedWith(Kind::decodingFailed)) << name;
        } else {
            ASSERT_TRUE(login->value) << name;
            ASSERT_EQ(login->value->index(), std::size_t(outcome)) << name;
        }
        if (outcome == otp) {
            EXPECT_EQ(std::get<OtpRequired>(*login->value).email, "a@b.example");
            EXPECT_EQ(std::get<OtpRequired>(*login->value).userEmail, text) << name;
        } else if (outcome == selection) {
            const auto& chosen = std::get<CompanySelection>(*login->value);
            EXPECT_EQ(chosen.userName, text) << name;
            EXPECT_EQ(chosen.companies, (std::vector<LoginCompany>{{"Z", "z.example"}, {"A", "a.example"}}))
                << name;
            EXPECT_EQ(chosen.tokens, tokensNamed(stored)) << name;
        } else if (outcome == direct) {
            EXPECT_EQ(std::get<DirectConfig>(*login->value).user.value_or(LoginUser()).email, text) << name;
        }
        EXPECT_EQ(tokens(), stored ? std::optional(tokensNamed(stored)) : std::nullopt) << name;
        EXPECT_EQ(baseURL(), baseAfter ? baseAfter : "https://old.example/api/v1/") << name;
    }
}

TEST_F(AuthServiceTest, UnknownExpiryCountsFromNow) {
    answer(200, wrapped(with(tokenReply("x"), {{"expires_at", "soon"}, {"refresh_expires_at", ""}})), 10);
    started(services.auth.login("a", "b"));
    pass(10.5);
    const Date received = machine.clock.now() - 0.5;
    EXPECT_NEAR(tokens()->expiresAt - received, 3600, 0.001);
    EXPECT_NEAR(tokens()->refreshExpiresAt - received, 2'592'000, 0.001);
    EXPECT_EQ(tokens()->expiresAtRaw, "soon");
}

TEST_F(AuthServiceTest, ASecondLoginJoinsTheFirst) {
    for (const int status : {200, 422}) {
        machine.urlSession.requests.clear();
        answer(status, wrapped(tokenReply("x")), 5);
        const auto first = started(services.auth.login("first@b.example", "1"));
        pass(2);
        const auto second = started(services.auth.login("second@b.example", "2"));
        // A one-time code is an exchange of its own.
        const LoginRequest code{.email = "c", .password = "123456", .isOtp = 1};
        const auto otp = started(services.auth.performSingleLogin(code));
        pass(4);
        EXPECT_EQ(first->isPending() || second->isPending(), false);
        EXPECT_EQ(first->value.has_value(), status == 200);
        EXPECT_EQ(second->value.has_value(), status == 200);
        EXPECT_EQ(second->failedWith(Kind::serverError), status != 200);
        EXPECT_TRUE(otp->isPending());
        pass(2);
        EXPECT_FALSE(otp->isPending());
        ASSERT_EQ(machine.urlSession.requests.size(), 2u);
        EXPECT_TRUE(machine.urlSession.requests[0].body.contains("first@b.example"));
        EXPECT_EQ(machine.urlSession.requests[1].body,
                  R"({"email":"c","is_otp":1,"password":"123456","remember_me":1,"use_jwt":1})");
        // The next one after the end is new.
        started(services.auth.login("third@b.example", "3"));
        pass(0.1);
        EXPECT_EQ(machine.urlSession.requests.size(), 3u);
        pass(10);
    }
}

TEST_F(AuthServiceTest, ACallWhoseCallerWentAwayGoesOn) {
    answer(200, wrapped(tokenReply("x")), 5);
    { const Task<SingleLoginResult> dropped = services.auth.login("a", "b"); }
    pass(6);
    EXPECT_EQ(tokens(), tokensNamed("x"));
}

TEST_F(AuthServiceTest, RefreshKeepsWhatTheReplyLeavesOut) {
    const QJsonObject sparse{{"access_token", "new-c4n4ry"}, {"expires_at", "2027-01-15T08:00:00Z"}};
    for (const QJsonObject& data : {sparse, QJsonObject{{"data", sparse}}}) {
        signIn("first");
        answer(200, wrapped(data));
        const auto refreshed = started(services.auth.handleUnauthorized());
        pass(1);
        AuthTokens expected = tokensNamed("first");
        expected.accessToken = "new-c4n4ry";
        EXPECT_EQ(tokens(), expected);
        EXPECT_EQ(refreshed->value, std::optional(std::optional(expected)));
    }
}

TEST_F(AuthServiceTest, OnlyARejectedRefreshEndsTheSession) {
    const struct {
        Reply reply;
        bool isRejected;
        const char* line;
    } cases[] = {
        {machine.urlSession.answer(500), false, "keeping tokens: The server answered with status 500."},
        {machine.urlSession.answer(403), false, "keeping tokens: The server answered with status 403."},
        {machine.urlSession.answer(200, "{}"), false,
         "keeping tokens: The server's answer could not be read."},
        {machine.urlSession.failure(URLError::Code::timedOut), false,
         "keeping tokens: simulated transport error"},
        {machine.urlSession.answer(401), true, "Token refresh rejected (401); clearing session"},
    };
    for (const auto& [reply, isRejected, line] : cases) {
        signIn("first");
        machine.urlSession.setServer([&reply = reply](const URLRequest&) { return reply; });
        const auto refreshed = started(services.auth.handleUnauthorized());
        pass(1);
        EXPECT_TRUE(refreshed->value && !*refreshed->value) << line;
        EXPECT_TRUE(log.contains(line)) << line;
        EXPECT_EQ(services.sessionInvalidations, isRejected ? 1 : 0) << line;
        EXPECT_EQ(preference(PreferenceKey::apiTimezoneIdentifier),
                  isRejected ? "Europe/Paris" : "Asia/Tokyo");
        if (!isRejected) {
            EXPECT_EQ(tokens(), tokensNamed("first"));
        }
    }
    expectSignedOut("after the rejection");
    // Nothing is left to refresh with.
    machine.urlSession.requests.clear();
    const auto refreshed = started(services.auth.handleUnauthorized());
    pass(1);
    EXPECT_TRUE(refreshed->value && !*refreshed->value);
    EXPECT_TRUE(machine.urlSession.requests.empty());
}

TEST_F(AuthServiceTest, LateRefreshLeavesALaterSignInAlone) {
    for (const int status : {200, 401}) {
        for (const bool signsInAgain : {true, false}) {
            signIn("first");
            machine.urlSession.setServer([=, this](const URLRequest& request) {
                if (pathOf(request) == "authentication/refresh")
                    return machine.urlSession.answer(status, wrapped(tokenReply("refreshed")), 300);
                return machine.urlSession.answer(200, wrapped(tokenReply("again")));
            });
            const auto refreshed = started(services.auth.handleUnauthorized());
            started(services.auth.logout());
            pass(1);
            if (signsInAgain)
                started(services.auth.login("a", "b"));
            pass(600);
            EXPECT_TRUE(refreshed->value && !*refreshed->value);
            EXPECT_EQ(tokens(), signsInAgain ? std::optional(tokensNamed("again")) : std::nullopt) << status;
            EXPECT_EQ(services.sessionInvalidations, 0) << status;
        }
    }
}

TEST_F(AuthServiceTest, LogoutClearsWhateverHappens) {
    const struct {
        const char* name;
        Reply reply;
        const char* line;
    } cases[] = {
        {"success", machine.urlSession.answer(204), "Logout succeeded"},
        {"refused", machine.urlSession.answer(401), "Logout failed: The server does not accept the sign-in."},
        {"failure", machine.urlSession.answer(500), "Logout failed: The server answered with status 500."},
        {"offline", machine.urlSession.failure(URLError::Code::notConnectedToInternet), "Logout failed: sim"},
        {"silence", machine.urlSession.silence(), "Logout failed: sim"}};
    for (const auto& [name, reply, line] : cases) {
        signIn("first");
        services.domain.setBaseURL(DomainStorage::buildBaseURL("old.example"));
        UserProfileStorage::set("User", "Company", machine.preferences);
        machine.urlSession.requests.clear();
        machine.urlSession.setServer([&reply = reply](const URLRequest&) { return reply; });
        const auto done = started(services.auth.logout());
        pass(61);
        EXPECT_TRUE(done->value) << name;
        EXPECT_TRUE(log.contains(line)) << name;
        ASSERT_EQ(machine.urlSession.requests.size(), 1u) << name;
        EXPECT_TRUE(bears(machine.urlSession.requests[0], tokensNamed("first"))) << name;
        expectSignedOut(name);
        EXPECT_EQ(preference(PreferenceKey::apiTimezoneIdentifier), "Asia/Tokyo") << name;
    }
    EXPECT_EQ(services.sessionInvalidations, 0);
    machine.urlSession.requests.clear();
    started(services.auth.logout());
    pass(1);
    EXPECT_TRUE(machine.urlSession.requests.empty());
}

TEST_F(AuthServiceTest, AnUnusableCompanyChangesNothing) {
    for (const auto& [endpoint, root] : {std::pair(" \t", "https://old.example/api/v1/"),
                                         std::pair("http://[bad", "https://old.example/api/v1/"),
                                         std::pair("New.example/", "https://new.example/api/v1/")}) {
        started(services.auth.selectCompany(endpoint));
        pass(0.1);
        EXPECT_EQ(baseURL(), root) << endpoint;
    }
}

} // namespace
