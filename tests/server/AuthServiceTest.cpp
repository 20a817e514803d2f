#include "ServerWorld.h"
#include "server/AuthDateParser.h"

namespace {

constexpr auto oldRoot = "https://old.example/api/v1/";

struct AuthServiceTest : ServerTest {
    AuthServiceTest() {
        enterCompany();
        machine.preferences.set(PreferenceKey::apiTimezoneIdentifier, "Asia/Tokyo");
        machine.preferences.set(PreferenceKey::lastSelectedCompanyEndpoint, "old.example");
        machine.preferences.set(PreferenceKey::rememberedLoginEmail, "a@b");
        machine.timeline.setZone("Europe/Paris");
    }

    void enterCompany() {
        domain.setBaseURL(QUrl(oldRoot));
        UserProfileStorage::set("User", "Company", machine.preferences);
    }
    void expectSignedOut(const char* after) {
        EXPECT_FALSE(tokens() || domain.getBaseURL()) << after;
        EXPECT_FALSE(preference(PreferenceKey::userName) || preference(PreferenceKey::companyName)) << after;
        EXPECT_EQ(preference(PreferenceKey::lastSelectedCompanyEndpoint), "old.example") << after;
        EXPECT_EQ(preference(PreferenceKey::rememberedLoginEmail), "a@b") << after;
    }
};

/// A sign-in's outcome in words.
QString told(const Outcome<SingleLoginResult>& login) {
    const SingleLoginResult result = login.value.value_or(OtpRequired{"nothing", "no answer"});
    if (const auto* otp = std::get_if<OtpRequired>(&result))
        return "code for " + otp->email + '/' + otp->userEmail;
    if (const auto* direct = std::get_if<DirectConfig>(&result))
        return direct->tokens.accessToken.section('-', 0, 0) + " for " +
               direct->user.value_or(LoginUser{"nobody", {}}).email;
    const auto& choice = std::get<CompanySelection>(result);
    QString text = choice.userName + " chooses";
    for (const LoginCompany& company : choice.companies)
        text += ' ' + company.name + '@' + company.endpoint;
    return text;
}

TEST_F(AuthServiceTest, LoginHasThreeOutcomes) {
    const QByteArray flat = tokenMembers("flat"), nested = R"("data":{)" + tokenMembers("nested") + "},";
    const QByteArray user = R"("user":{"email":"u@b","name":"Uma"},)";
    const QByteArray choice =
        R"("companies":[{"name":"Z","endpoint":"z.example"},{"name":"A","endpoint":"a.example"}],)";
    const QByteArray init = R"("init":{"endpoint":"n.example"},)";
    const char* newRoot = "https://n.example/api/v1/";
    const char* undecodable = "code for nothing/no answer";
    const struct {
        QByteArray members;
        const char* outcome;
        const char* stored; ///< Whose tokens; null: none.
        const char* root;
    } cases[] = {
        {user + R"("otp_required":1,)" + flat, "code for a@b/u@b", nullptr, oldRoot},
        {R"("otp_required":0,)" + flat, "flat for nobody", "flat", oldRoot},
        {choice + user + nested + flat, "Uma chooses Z@z.example A@a.example", nullptr, oldRoot},
        {choice + user + init + flat, "flat for u@b", "flat", newRoot},
        {QByteArray(flat).replace(R"("expires_at":)", R"("expires_at":null,"x":)"), undecodable, nullptr, oldRoot},
        {user + init + R"("x":0)", undecodable, nullptr, oldRoot},
    };
    for (const auto& [members, outcome, stored, root] : cases) {
        keychain.deleteAuthTokens();
        domain.setBaseURL(QUrl(oldRoot));
        UserProfileStorage::set({}, {}, machine.preferences);
        answer(Network::answer(200, wrapped(members)));
        EXPECT_EQ(told(outcomeOf(auth.login("a@b", "c4n4ry"))), outcome);
        EXPECT_EQ(tokens(), stored ? std::optional(tokensNamed(stored)) : std::nullopt) << outcome;
        EXPECT_EQ(domain.getBaseURL(), QUrl(root)) << outcome;
    }
}

TEST_F(AuthServiceTest, TheFormerCompanyGetsNoPassword) {
    answer(Network::answer(401));
    for (const bool isRecovery : {false, true}) {
        AuthService afterLaunch({api, endpoints, keychain, domain, machine.preferences, timeZones, machine.clock,
                                 machine.worker, machine.main});
        enterCompany();
        if (isRecovery)
            outcomeOf(afterLaunch.requestPasswordRecovery("a@b").then([] { return true; }));
        else
            outcomeOf(afterLaunch.login("a@b", "c4n4ry"));
        EXPECT_EQ(requests.back().url.host(), APIEndpoints::fallbackURL().host());
    }
}

TEST_F(AuthServiceTest, ASignInIsStoredWhenItsCompanyIsKnown) {
    domain.setBaseURL(std::nullopt);
    answer(Network::answer(200, wrapped(tokenMembers("flat"))));
    auth.login("a@b", "c4n4ry");
    pass(1);
    EXPECT_EQ(domain.getBaseURL(), APIEndpoints::fallbackURL()) << "the company is the one that answered";
    for (const char* unusable : {" ", "http://n.example"})
        EXPECT_FALSE(succeeds(auth.selectCompany(unusable, tokensNamed("chosen"), "a@b")));
    EXPECT_EQ(tokens(), tokensNamed("flat"));
    EXPECT_TRUE(succeeds(auth.selectCompany("n.example", tokensNamed("chosen"), "a@b")));
    EXPECT_EQ(tokens(), tokensNamed("chosen"));
    EXPECT_EQ(domain.domainKey(), "n.example a@b");
}

TEST_F(AuthServiceTest, ASignInThatCannotBeStoredChangesNothing) {
    signIn("former");
    domain.setBaseURL(std::nullopt);
    machine.secrets.isLocked = true; // and the prompt is dismissed
    answer(Network::answer(200, wrapped(tokenMembers("flat"))));
    EXPECT_EQ(outcomeOf(auth.login("a@b", "c4n4ry")).failure, Kind::network);
    EXPECT_FALSE(succeeds(auth.selectCompany("n.example", tokensNamed("chosen"), "a@b")));
    EXPECT_FALSE(domain.getBaseURL()) << "the former tokens would go to the new company";
    machine.secrets.isLocked = false;
    EXPECT_TRUE(succeeds(auth.selectCompany("n.example", tokensNamed("chosen"), "a@b")));
    EXPECT_EQ(tokens(), tokensNamed("chosen"));
}

TEST_F(AuthServiceTest, ASecondLoginJoinsTheFirst) {
    answer(Network::answer(200, wrapped(tokenMembers("x")), 5));
    const auto first = auth.login("first@b", "1");
    pass(2);
    const auto second = outcomeOf(auth.login("second@b", "2"), 4);
    EXPECT_EQ(told(second), told(outcomeOf(first, 0)));
    EXPECT_EQ(requests.size(), 1u);
    auth.login("third@b", "3");
    pass(6);
    EXPECT_EQ(requests.size(), 2u) << "the next one is new, and its caller may go away";
}

TEST_F(AuthServiceTest, OnlyARejectedRefreshEndsTheSession) {
    const AuthTokens old = tokensNamed("old");
    const QByteArray sparse = R"("access_token":"new","expires_at":"2024-05-01T12:00:00Z")";
    AuthTokens kept = old;
    kept.accessToken = "new";
    kept.expiresAt = Date::since1970(1'714'564'800);
    kept.expiresAtRaw = "2024-05-01T12:00:00Z";
    const struct {
        Reply reply;
        std::optional<AuthTokens> stored;
        const char* line;
    } cases[] = {
        {Network::answer(200, wrapped(sparse)), kept, "Token refresh succeeded"},
        {Network::answer(200, wrapped(tokenMembers("outer") + R"(,"data":{)" + sparse + '}')), kept,
         "Token refresh succeeded"},
        {Network::answer(403), old, "keeping tokens: The server answered with status 403."},
        {Network::answer(200, "{}"), old, "keeping tokens: The server's answer could not be read."},
        {Network::failure(URLError::Code::timedOut), old, "keeping tokens: simulated transport error"},
        {Network::answer(401), {}, "Token refresh rejected (401); clearing session"},
    };
    for (const auto& [reply, stored, line] : cases) {
        signIn("old");
        answer(reply);
        const auto renewed = outcomeOf(auth.handleUnauthorized()).value;
        EXPECT_EQ(renewed.value_or(tokensNamed("pending")), stored == old ? std::nullopt : stored) << line;
        EXPECT_EQ(tokens(), stored) << line;
        EXPECT_TRUE(log.lines().last().contains(line)) << line;
        EXPECT_EQ(sessionInvalidations, stored ? 0 : 1) << line;
        EXPECT_EQ(preference(PreferenceKey::apiTimezoneIdentifier), stored ? "Asia/Tokyo" : "Europe/Paris");
    }
    expectSignedOut("the rejection");
}

TEST_F(AuthServiceTest, LateRefreshLeavesALaterSignInAlone) {
    for (const int status : {200, 401}) {
        signIn("old");
        machine.urlSession.setServer([status](const URLRequest& request) {
            if (pathOf(request) == "authentication/refresh")
                return Network::answer(status, wrapped(tokenMembers("refreshed")), 300);
            return Network::answer(200, wrapped(tokenMembers("again")));
        });
        const auto late = auth.handleUnauthorized();
        EXPECT_TRUE(succeeds(auth.logout()));
        auth.login("a", "b");
        const auto renewed = outcomeOf(late, 600).value;
        EXPECT_TRUE(renewed && !*renewed);
        EXPECT_EQ(tokens(), tokensNamed("again")) << status;
        EXPECT_EQ(sessionInvalidations, 0) << status;
    }
}

TEST_F(AuthServiceTest, LogoutClearsWhateverHappens) {
    const std::pair<Reply, const char*> cases[] = {
        {Network::answer(204), "Logout succeeded"},
        {Network::silence(), "Logout failed: simulated"},
    };
    for (const auto& [reply, line] : cases) {
        signIn("old");
        enterCompany();
        answer(reply);
        EXPECT_TRUE(succeeds(auth.logout(), 61)) << line;
        EXPECT_TRUE(log.contains(line)) << line;
        expectSignedOut(line);
    }
    EXPECT_TRUE(succeeds(auth.logout()));
    EXPECT_EQ(requests.size(), 2u) << "without tokens there is nobody to sign out";
    EXPECT_EQ(preference(PreferenceKey::apiTimezoneIdentifier), "Asia/Tokyo");
    EXPECT_EQ(sessionInvalidations, 0);
}

TEST(ReplyDecoders, AreStrictAboutKeysAndTypes) {
    const QByteArray nulls = wrapped(R"("user":null,"init":null,"companies":null,"data":null,"otp_required":null)");
    EXPECT_TRUE(decodeSingleLoginResponse(nulls) && !decodeRefreshResponse(nulls));
    for (const char* members : {R"("otp_required":"1")", R"("companies":[{"name":"n"}])",
                                R"("access_token":"a","expires_at":"e","refresh_token":1)", "<html>"})
        EXPECT_FALSE(decodeSingleLoginResponse(wrapped(members)) || decodeRefreshResponse(wrapped(members))) << members;
}

TEST(AuthDateParserTest, TakesTheDefaultForWhatItCannotRead) {
    for (const char* text : {"", "1714564800", "2024-05-01T12:00:00", "2024-02-30 12:00:00"})
        EXPECT_EQ(AuthDateParser::parse(text, 3600, Date::since1970(99)), Date::since1970(99 + 3600)) << text;
}

} // namespace
