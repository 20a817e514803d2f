#include "model/Json.h"
#include "tests/screens/ScreensFixture.h"

#include <QLineEdit>

namespace {

constexpr auto notSecure = "The server's address is not secure (http, not https). Nothing was sent to it.";

struct LoginScreens : ScreensFixture {
    int status = 200, configStatus = 200;
    Seconds delay = 0.05; ///< Of each answer to a sign-in request.
    /// The server's record of a sign-in.
    QJsonObject data{{"user", QJsonObject{{"email", hostile}, {"name", hostile}}},
                     {"init", QJsonObject{{"endpoint", "acme.test"}}},
                     {"access_token", "a"},
                     {"refresh_token", "r"},
                     {"expires_at", ""},
                     {"refresh_expires_at", ""}};

    LoginScreens() {
        world.machine.secrets.remove(KeychainService::service, KeychainService::account);
        DomainStorage(world.machine.preferences).setBaseURL(std::nullopt);
        relaunch();
        world.machine.urlSession.setServer([this](const URLRequest& request) {
            if (request.url.path().endsWith("employees/config"))
                return SimulatedURLSession::answer(configStatus, "{\"data\":" + encodeRemoteConfig(world.config) + "}");
            return SimulatedURLSession::answer(status, Json::compact({{"data", data}}), delay);
        });
        login().setEmail(" ann@acme.com\n");
        login().setPassword("secret ");
    }
    LoginModel& login() { return models->login; }
    /// Runs `task` to its end; returns the message that is then shown.
    QString run(Task<> task) {
        spawn(std::move(task), "step");
        world.tick(1);
        EXPECT_FALSE(login().isBusy());
        return login().otpErrorMessage().value_or(QString());
    }
    QString signIn() { return run(login().performLogin()); }
    std::vector<QJsonObject> signIns() { return world.bodies("authentication/singleLogin"); }
    void expectSignedIn() {
        EXPECT_EQ(models->root.screen(), Routing::Screen::tabs);
        EXPECT_EQ(world.core->appState.remoteConfig(), world.config);
        EXPECT_EQ(world.engine().config(), world.config);
        EXPECT_EQ(login().password(), ""); // nothing of it stays behind
        EXPECT_TRUE(std::holds_alternative<LoginPhase::Form>(login().phase()));
    }
};

} // namespace

TEST_F(LoginScreens, CompleteASignIn) {
    spawn(login().performLogin(), "a press; another during the run does nothing");
    EXPECT_EQ(signIn(), "");
    expectSignedIn();
    ASSERT_EQ(signIns().size(), 1U);
    EXPECT_EQ(signIns()[0]["email"], "ann@acme.com");
    EXPECT_EQ(signIns()[0]["password"], "secret "); // as typed
    EXPECT_EQ(world.machine.preferences.string(PreferenceKey::userName), hostile);
}

TEST_F(LoginScreens, SayAtTheFormWhyTheyStop) {
    show();
    auto* password = control<QLineEdit>(*shown, "#loginPassword");
    login().setEmail("");
    password->setText("abcd");
    key(password, Qt::Key_Return);
    EXPECT_EQ(text("#loginMessage"), "Email cannot be empty.");
    password->setText("abc");
    EXPECT_EQ(text("#loginMessage"), "Password must be at least 4 characters.");
    key(password, Qt::Key_Return);
    EXPECT_EQ(text("#loginMessage"), "Email cannot be empty."); // not hidden by the hint
    password->setText("abcd");
    EXPECT_NE(password->displayText(), "abcd");
    press("#loginPasswordEye");
    EXPECT_EQ(password->displayText(), "abcd");
    login().setEmail("ann@acme.com");
    login().setPassword("abc");
    EXPECT_EQ(signIn(), "Password must be at least 4 characters.");
    EXPECT_TRUE(signIns().empty());
    login().setPassword("abcd");
    configStatus = 500;
    EXPECT_EQ(signIn(), "Failed to load configuration.");
    EXPECT_FALSE(world.core->appState.isAuthenticated());
    world.core->domain.setBaseURL(QUrl("http://acme.test/api/v1/"));
    EXPECT_EQ(signIn(), notSecure);
    world.core->domain.setBaseURL(std::nullopt);
    world.machine.secrets.isLocked = true;
    EXPECT_EQ(signIn(), "The keyring does not answer. Unlock it and try again.");
    world.machine.secrets.isLocked = false;
    status = 500;
    EXPECT_EQ(signIn(), "Login failed. Check your credentials and connection.");
    login().setNoAccountInfoShown(true);
    inEveryLook("#closeNoAccount");
    login().openForgotPassword();
    inEveryLook("#sendResetLink");
}

TEST_F(LoginScreens, UseTheCacheOfTheSameCompanyUnlessRefused) {
    signIn();
    for (const auto& [endpoint, answer, isSignedIn] :
         {std::tuple{"acme.test", 500, true}, {"acme.test", 401, false}, {"other.test", 500, false}}) {
        run(world.core->auth.logout());
        world.core->appState.applySignedOut();
        login().setEmail("ann@acme.com");
        login().setPassword("secret");
        data["init"] = QJsonObject{{"endpoint", endpoint}};
        configStatus = answer;
        EXPECT_EQ(signIn(), isSignedIn ? "" : "Failed to load configuration.") << endpoint << answer;
        EXPECT_EQ(world.core->appState.isAuthenticated(), isSignedIn);
    }
}

TEST_F(LoginScreens, CheckAOneTimeCode) {
    const QJsonObject direct = std::exchange(data, {{"otp_required", 1}, {"user", data["user"]}});
    signIn();
    inEveryLook("#verifyCode");
    key(control(*shown, "#otpDigit2"), Qt::Key_1, "x"); // no letter stays
    EXPECT_EQ(text("#otpDigit2"), "Digit 2 of 6");
    EXPECT_FALSE(login().canVerifyOtp());
    key(control(*shown, "#otpDigit3"), Qt::Key_1, "123456");
    EXPECT_EQ(text("#otpDigit1"), "Digit 1 of 61");
    control(*shown, "#otpDigit3")->setFocus();
    key(shown->focusWidget(), Qt::Key_Backspace);
    EXPECT_EQ(shown->focusWidget()->accessibleDescription(), "#otpDigit3"); // to type it anew
    key(shown->focusWidget(), Qt::Key_3, "3");
    click(control(*shown, "#otpDigit6"));
    key(shown->focusWidget(), Qt::Key_7, "7"); // in the place of the 6, and not beside it as a paste
    key(shown->focusWidget(), Qt::Key_6, "6");
    EXPECT_EQ(run(login().performVerifyOtp()), "Invalid OTP code. Please try again.");
    EXPECT_EQ(signIns().back()["password"], "123456");
    EXPECT_EQ(signIns().back()["is_otp"], 1);
    status = 500;
    run(login().performResendOtp()); // too early: nothing happens
    EXPECT_EQ(run(login().performVerifyOtp()), "Verification failed. Check the code and try again.");
    world.tick(60);
    EXPECT_EQ(run(login().performResendOtp()), "Failed to resend the code.");
    EXPECT_GT(login().resendCooldownSeconds(), 50);
    status = 200;
    data = direct;
    EXPECT_EQ(run(login().performVerifyOtp()), "");
    expectSignedIn();
}

TEST_F(LoginScreens, DropALateReplyToAScreenThatWasLeft) {
    const auto openCode = [&] { run(login().performLogin()); };
    const auto openReset = [&] { login().openForgotPassword(); };
    const auto resendCode = [&] { return login().performResendOtp(); };
    const auto sendReset = [&] { return login().forgotPassword().sendResetLink(); };
    const std::tuple<int, std::function<void()>, std::function<Task<>()>> cases[] = {
        {500, openCode, resendCode}, {500, openReset, sendReset}, {200, openReset, sendReset}};
    data = {{"otp_required", 1}, {"user", data["user"]}};
    for (const auto& [answer, open, send] : cases) {
        status = 200;
        open();
        world.tick(60); // a code may be asked for again
        status = answer;
        delay = 30;
        spawn(send(), "request");
        world.tick(1);
        status = 200;
        delay = 0.05;
        login().backToForm();
        login().setEmail("ben@acme.com");
        open();
        world.tick(31);
        EXPECT_EQ(login().otpErrorMessage(), std::nullopt);
        EXPECT_EQ(login().forgotPassword().statusMessage(), std::nullopt);
        EXPECT_FALSE(login().forgotPassword().didSendSuccessfully());
    }
}

TEST_F(LoginScreens, LetACompanyBeChosen) {
    world.machine.preferences.set(PreferenceKey::lastSelectedCompanyEndpoint, "recent.test");
    data.remove("init");
    data["companies"] = QJsonArray{QJsonObject{{"name", hostile}, {"endpoint", "acme.test"}},
                                   QJsonObject{{"name", "A & B"}, {"endpoint", "recent.test"}}};
    signIn();
    relaunch(); // quit at the choice: there is no sign-in yet
    EXPECT_EQ(models->root.screen(), Routing::Screen::login);
    login().setEmail("ann@acme.com");
    login().setPassword("secret");
    signIn();
    inEveryLook("#company");
    const auto choice = std::get<LoginPhase::CompanyChoice>(login().phase());
    EXPECT_EQ(choice.companies.front().name, "A & B"); // the recent one first
    EXPECT_EQ(choice.recentEndpoint, "recent.test");
    EXPECT_EQ(run(login().performCompanySelect({"Plain", "http://plain.test"})), notSecure);
    EXPECT_EQ(run(login().performCompanySelect(choice.companies.back())), "");
    expectSignedIn();
    EXPECT_EQ(LastCompanyStorage::lastEndpoint(world.machine.preferences), "acme.test");
}
