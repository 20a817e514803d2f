#pragma once

#include "model/AuthTokens.h"
#include "platform/Task.h"
#include "screens/signin/ForgotPasswordModel.h"
#include "screens/signin/OTPEntry.h"

#include <QObject>
#include <optional>
#include <variant>

class APIError;
class AppStateManager;
class AuthService;
class CompanyAccount;
class Desktop;
class DomainStorage;
class PreferenceStore;
class RemoteConfigService;

/// Which of the sign-in screens is shown.
struct LoginPhase {
    struct Form {};
    struct OTP {
        QString email;
        QString userEmail;
    };
    struct CompanyChoice {
        std::vector<LoginCompany> companies; ///< In the order of the list.
        std::optional<QString> recentEndpoint;
        QString userName;
        AuthTokens tokens; ///< Stored when a company is chosen.
    };
    struct ForgotPassword {};
    using Any = std::variant<Form, OTP, CompanyChoice, ForgotPassword>;
};

/// Everything that a signed-out user sees and does, up to the configuration that completes a sign-in. One
/// instance, so that what was typed and what is under way survive the views. Main thread.
class LoginModel : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        AuthService& auth;
        RemoteConfigService& remoteConfig;
        DomainStorage& domain;
        AppStateManager& appState;
        CompanyAccount& company;
        PreferenceStore& preferences;
        Desktop& desktop;
        Executor& main;
    };
    explicit LoginModel(const Dependencies& dependencies);

    const LoginPhase::Any& phase() const { return phase_; }
    const QString& email() const { return email_; }
    const QString& password() const { return password_; }
    bool showsPassword() const { return showPassword_; }
    bool showsNoAccountInfo() const { return showNoAccountInfo_; }
    const std::optional<QString>& errorMessage() const { return errorMessage_; }
    /// What the form has to say: the error of the last press until something is typed, then the live hint.
    std::optional<QString> formMessage() const;
    /// Nothing may be pressed: a sign-in, a code check or a company choice is under way.
    bool isBusy() const { return isLoading_ || otpVerifying_ || companySelecting_; }
    const OTPEntry& otp() const { return otp_; }
    /// What the code screen has to say.
    std::optional<QString> otpErrorMessage() const { return otpErrorMessage_ ? otpErrorMessage_ : errorMessage_; }
    /// Where the code was sent to.
    QString otpAddress() const;
    bool canVerifyOtp() const { return otp_.isComplete() && !isBusy(); }
    int resendCooldownSeconds() const { return resendCooldown_.secondsLeft(); }
    ForgotPasswordModel& forgotPassword() { return forgotPassword_; }

    void setEmail(const QString& email);
    void setPassword(const QString& password);
    void togglePassword();
    void setNoAccountInfoShown(bool shown);
    void openWebsite();
    void openForgotPassword();
    void backToForm();

    /// A press during a run does nothing.
    Task<> performLogin();
    void changeOtp(int index, const QString& text);
    void commitOtp(int index);
    Task<> performVerifyOtp();
    Task<> performResendOtp();
    Task<> performCompanySelect(LoginCompany company);

Q_SIGNALS:
    void changed();

private:
    void enter(const LoginPhase::Any& phase);
    void proceed(const SingleLoginResult& result);
    void completeLogin(const std::optional<LoginUser>& user);
    Task<> finishSignIn();
    void failToConfigure(const APIError& error);
    void reset();

    const Dependencies deps_;
    LoginPhase::Any phase_;
    int visit_ = 0; ///< Counts the screens entered: a late reply to one that was left is dropped.
    QString email_;
    QString password_;
    bool showPassword_ = false;
    bool showNoAccountInfo_ = false;
    bool loginInProgress_ = false;
    bool isLoading_ = false;
    bool otpVerifying_ = false;
    bool companySelecting_ = false;
    std::optional<QString> errorMessage_;
    std::optional<QString> otpErrorMessage_;
    OTPEntry otp_;
    Cooldown resendCooldown_;
    ForgotPasswordModel forgotPassword_;
};
