// Signing in against a scripted backend, in virtual time.

#include "PreferenceStores.h"
#include "ScreensFixture.h"

#include <QFile>
#include <QJsonArray>
#include <gtest/gtest.h>

namespace {

const QByteArray tokens =
    R"("data":{"access_token":"a","refresh_token":"r","token_type":"Bearer",)"
    R"("expires_at":"2099-01-01T00:00:00Z","refresh_expires_at":"2099-01-01T00:00:00Z"})";
const QByteArray direct = "{\"data\":{\"user\":{\"email\":\"ann@acme.com\",\"name\":\"Ann\"},"
                          "\"init\":{\"endpoint\":\"acme.test\"}," +
                          tokens + "}}";
const QByteArray otpRequired = R"({"data":{"otp_required":1,"user":{"email":"a**@acme.com"}}})";
const QByteArray companies =
    "{\"data\":{\"user\":{\"email\":\"ann@acme.com\",\"name\":\"Ann\"},\"companies\":["
    "{\"name\":\"Zeta\",\"endpoint\":\"zeta.test\"},{\"name\":\"acme\",\"endpoint\":"
    "\"acme.test\"}]," +
    tokens + "}}";

struct Login : testing::Test, ScreensFixture {
    QByteArray reply = direct;
    int loginStatus = 200;
    bool hasConfig = true;
    std::vector<QJsonObject> logins;
    int otpRequests = 0;
    int recoveries = 0;

    Login() {
        signOut();
        world.machine.urlSession.setServer([this](const URLRequest& request) { return serve(request); });
        login->setEmail(" ann@acme.com\n");
        login->setPassword("secret ");
    }

    SimulatedURLSession::Reply serve(const URLRequest& request) {
        const QString path = request.url.path();
        if (path.endsWith("singleLogin")) {
            logins.push_back(QJsonDocument::fromJson(request.body).object());
            return SimulatedURLSession::answer(loginStatus, reply);
        }
        otpRequests += path.endsWith("generateOtp");
        recoveries += path.endsWith("password/recovery");
        if (path.endsWith("employees/config") && hasConfig)
            return SimulatedURLSession::answer(200, "{\"data\":" + encodeRemoteConfig(world.config) + "}");
        return SimulatedURLSession::answer(path.endsWith("employees/config") ? 500 : loginStatus, "{}");
    }
    void press(int times = 1) {
        for (int i = 0; i < times; ++i)
            spawn(login->performLogin(), "login");
        world.tick(1);
    }
    QString error() { return login->errorMessage().value_or(QString()); }
    template <typename Phase>
    bool isIn() {
        return std::holds_alternative<Phase>(login->phase());
    }
};

} // namespace

TEST_F(Login, TakesTheSignInOverTheFinishLine) {
    world.config.companyName = std::nullopt;
    press(3);
    ASSERT_EQ(logins.size(), 1U); // further presses during the run do nothing
    EXPECT_EQ(logins[0].value("email"), "ann@acme.com");
    EXPECT_EQ(logins[0].value("password"), "secret "); // as typed
    EXPECT_FALSE(logins[0].contains("is_otp"));
    EXPECT_TRUE(app().isAuthenticated());
    EXPECT_EQ(app().remoteConfig(), world.config);
    EXPECT_EQ(world.engine().config(), world.config);
    EXPECT_EQ(root->screen(), Routing::Screen::tabs);
    EXPECT_FALSE(login->isBusy());
    EXPECT_EQ(login->password(), ""); // nothing of it stays behind
    const auto requests = world.machine.urlSession.requests.size();
    world.config.idleMinutesThreshold = 17;
    world.tick(2500);
    EXPECT_GT(world.machine.urlSession.requests.size(), requests);
    EXPECT_EQ(world.engine().config()->idleMinutesThreshold, 17); // the periodic refresh runs
}

TEST_F(Login, StopsAtTheFormWithWords) {
    login->setPassword("abc");
    press();
    EXPECT_EQ(error(), "Password must be at least 4 characters.");
    EXPECT_TRUE(logins.empty());
    EXPECT_EQ(RememberedLoginStorage::savedEmail(world.machine.preferences), "ann@acme.com"); // even so
    login->setPassword("abcd");
    for (const int status : {401, 422, 500}) {
        loginStatus = status;
        press();
        EXPECT_EQ(error(), "Login failed. Check your credentials and connection.") << status;
        EXPECT_FALSE(login->isBusy());
    }
    loginStatus = 200;
    press();
    EXPECT_EQ(error(), "");
    EXPECT_TRUE(app().isAuthenticated());
}

TEST_F(Login, FallsBackToTheCachedConfiguration) {
    hasConfig = false;
    press();
    EXPECT_EQ(error(), "Failed to load configuration.");
    EXPECT_FALSE(app().isAuthenticated());
    EXPECT_TRUE(world.core->keychain.getAuthTokens());
    QFile cache(world.core->remoteConfig.fileURL());
    ASSERT_TRUE(cache.open(QFile::WriteOnly));
    cache.write(encodeRemoteConfig(world.config));
    cache.close();
    press();
    EXPECT_TRUE(app().isAuthenticated());
    EXPECT_EQ(app().remoteConfig(), world.config);
}

TEST_F(Login, EndsARestoreThatStillHangs) {
    world.machine.secrets.isLocked = true;
    relaunch();
    EXPECT_EQ(root->screen(), Routing::Screen::restore);
    world.tick(9);
    EXPECT_TRUE(root->authRestoreIsSlow());
    root->abandonAuthRestore();
    EXPECT_EQ(root->screen(), Routing::Screen::login);
}

TEST_F(Login, ChecksAOneTimeCode) {
    reply = otpRequired;
    press();
    ASSERT_TRUE(isIn<LoginPhase::OTP>());
    EXPECT_EQ(login->otpAddress(), "a**@acme.com");
    EXPECT_GE(login->resendCooldownSeconds(), 59);
    EXPECT_FALSE(login->canVerifyOtp());
    login->changeOtp(2, "123456");
    const auto check = [this] {
        spawn(login->performVerifyOtp(), "check");
        world.tick(1);
        return login->otpErrorMessage().value_or(QString());
    };
    EXPECT_EQ(check(), "Invalid OTP code. Please try again.");
    EXPECT_EQ(logins.back().value("password"), "123456");
    EXPECT_EQ(logins.back().value("is_otp"), 1);
    EXPECT_EQ(logins.back().value("email"), "ann@acme.com");
    loginStatus = 500;
    EXPECT_EQ(check(), "Verification failed. Check the code and try again.");
    spawn(login->performResendOtp(), "resend");
    EXPECT_EQ(otpRequests, 0); // the minute is not over
    world.tick(60);
    EXPECT_EQ(login->resendCooldownSeconds(), 0);
    spawn(login->performResendOtp(), "resend");
    world.tick(1);
    EXPECT_EQ(otpRequests, 1);
    EXPECT_EQ(login->otpErrorMessage(), "Failed to resend the code.");
    EXPECT_GT(login->resendCooldownSeconds(), 50);
    loginStatus = 200;
    reply = direct;
    hasConfig = false;
    EXPECT_EQ(check(), "Failed to load configuration."); // not hidden from the person on this screen
    hasConfig = true;
    EXPECT_EQ(check(), "");
    EXPECT_TRUE(app().isAuthenticated());
}

TEST_F(Login, LetsACompanyBeChosen) {
    world.machine.preferences.set(PreferenceKey::lastSelectedCompanyEndpoint, "zeta.test");
    reply = companies;
    press();
    ASSERT_TRUE(isIn<LoginPhase::CompanyChoice>());
    const auto choice = std::get<LoginPhase::CompanyChoice>(login->phase());
    EXPECT_EQ(choice.companies.front().name, "Zeta"); // the recent one first
    EXPECT_EQ(choice.recentEndpoint, "zeta.test");
    EXPECT_EQ(choice.userName, "Ann");
    hasConfig = false;
    spawn(login->performCompanySelect(choice.companies.back()), "choice");
    EXPECT_TRUE(login->isBusy());
    world.tick(1);
    EXPECT_EQ(error(), "Failed to load configuration.");
    EXPECT_FALSE(login->isBusy()); // another may be tried
    hasConfig = true;
    spawn(login->performCompanySelect(choice.companies.back()), "choice");
    world.tick(1);
    EXPECT_TRUE(app().isAuthenticated());
    EXPECT_EQ(world.core->domain.domainKey(), "acme.test");
    EXPECT_EQ(LastCompanyStorage::lastEndpoint(world.machine.preferences), "acme.test");
    EXPECT_TRUE(isIn<LoginPhase::Form>()); // for the next time
}

TEST_F(Login, SendsAResetLink) {
    login->openForgotPassword();
    ForgotPasswordModel& forgot = login->forgotPassword();
    EXPECT_EQ(forgot.email(), login->email());
    const auto send = [&] {
        spawn(forgot.sendResetLink(), "send");
        world.tick(1);
    };
    loginStatus = 500;
    send();
    EXPECT_TRUE(forgot.statusIsError());
    EXPECT_EQ(forgot.buttonTitle(), "Send Reset Link");
    loginStatus = 200;
    send();
    EXPECT_EQ(forgot.statusMessage(), "A reset link has been sent to ann@acme.com. Please check your email.");
    EXPECT_FALSE(forgot.statusIsError());
    EXPECT_EQ(recoveries, 2);
    send();
    EXPECT_EQ(recoveries, 2);
    EXPECT_TRUE(forgot.buttonTitle().startsWith("Resend ("));
    world.tick(60);
    EXPECT_EQ(forgot.buttonTitle(), "Resend Reset Link");
    forgot.setEmail("ann");
    EXPECT_FALSE(forgot.canSend());
    login->backToForm();
    EXPECT_TRUE(isIn<LoginPhase::Form>());
}
