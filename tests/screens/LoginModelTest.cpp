#include "ScreensFixture.h"

namespace {

const QByteArray user = R"({"data":{"user":{"email":"ann@acme.com","name":"Ann"},)";
const QByteArray tokens = R"("data":{"access_token":"a","refresh_token":"r","token_type":"Bearer",)"
                          R"("expires_at":"","refresh_expires_at":""}}})";

struct Login : ScreensFixture {
    QByteArray reply = user + R"("init":{"endpoint":"acme.test"},)" + tokens;
    int status = 200;
    bool hasConfig = true;
    std::vector<QJsonObject> requests; ///< All but those for the configuration.

    Login() {
        signOut();
        world.machine.urlSession.setServer([this](const URLRequest& request) {
            if (request.url.path().endsWith("employees/config"))
                return SimulatedURLSession::answer(hasConfig ? 200 : 500,
                                                   "{\"data\":" + encodeRemoteConfig(world.config) + "}");
            requests.push_back(QJsonDocument::fromJson(request.body).object());
            return SimulatedURLSession::answer(status, reply);
        });
        login->setEmail(" ann@acme.com\n");
        login->setPassword("secret ");
    }
    /// Lets `task` come to its end, and tells what the person reads then.
    QString run(Task<> task) {
        spawn(std::move(task), "step");
        world.tick(1);
        EXPECT_FALSE(login->isBusy());
        return login->otpErrorMessage().value_or(QString());
    }
    QString signIn() { return run(login->performLogin()); }
    void expectSignedIn() {
        EXPECT_EQ(root->screen(), Routing::Screen::tabs);
        EXPECT_EQ(world.core->appState.remoteConfig(), world.config);
        EXPECT_EQ(world.engine().config(), world.config);
        EXPECT_EQ(login->password(), ""); // nothing of it stays behind
        EXPECT_TRUE(std::holds_alternative<LoginPhase::Form>(login->phase()));
    }
};

} // namespace

TEST_F(Login, TakesTheSignInOverTheFinishLine) {
    spawn(login->performLogin(), "a press; another during the run does nothing");
    EXPECT_EQ(signIn(), "");
    expectSignedIn();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].value("email"), "ann@acme.com");
    EXPECT_EQ(requests[0].value("password"), "secret "); // as typed
    EXPECT_EQ(world.machine.preferences.string(PreferenceKey::userName), "Ann");
}

TEST_F(Login, StopsAtTheFormWithWords) {
    login->setPassword("abc");
    EXPECT_EQ(signIn(), "Password must be at least 4 characters.");
    EXPECT_TRUE(requests.empty());
    login->setPassword("abcd");
    hasConfig = false;
    EXPECT_EQ(signIn(), "Failed to load configuration.");
    EXPECT_FALSE(world.core->appState.isAuthenticated());
}

TEST_F(Login, ChecksAOneTimeCode) {
    const QByteArray direct =
        std::exchange(reply, R"({"data":{"otp_required":1,"user":{"email":"a**@acme.com"}}})");
    signIn();
    EXPECT_FALSE(login->canVerifyOtp());
    login->changeOtp(2, "123456");
    EXPECT_EQ(run(login->performVerifyOtp()), "Invalid OTP code. Please try again.");
    EXPECT_EQ(requests.back().value("password"), "123456");
    EXPECT_EQ(requests.back().value("is_otp"), 1);
    status = 500;
    run(login->performResendOtp()); // too early: nothing happens
    EXPECT_EQ(run(login->performVerifyOtp()), "Verification failed. Check the code and try again.");
    world.tick(60);
    EXPECT_EQ(run(login->performResendOtp()), "Failed to resend the code.");
    EXPECT_GT(login->resendCooldownSeconds(), 50);
    status = 200;
    reply = direct;
    EXPECT_EQ(run(login->performVerifyOtp()), "");
    expectSignedIn();
}

TEST_F(Login, LetsACompanyBeChosen) {
    world.machine.preferences.set(PreferenceKey::lastSelectedCompanyEndpoint, "zeta.test");
    reply =
        user +
        R"("companies":[{"name":"acme","endpoint":"acme.test"},{"name":"Zeta","endpoint":"zeta.test"}],)" +
        tokens;
    signIn();
    const auto choice = std::get<LoginPhase::CompanyChoice>(login->phase());
    EXPECT_EQ(choice.companies.front().name, "Zeta"); // the recent one first
    EXPECT_EQ(choice.recentEndpoint, "zeta.test");
    EXPECT_EQ(run(login->performCompanySelect(choice.companies.back())), "");
    expectSignedIn();
    EXPECT_EQ(LastCompanyStorage::lastEndpoint(world.machine.preferences), "acme.test");
}
