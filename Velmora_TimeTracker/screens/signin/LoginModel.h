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

/// The sign-in screen that is shown.
struct LoginPhase {
    struct Form {};
    struct OTP {
        QString email;
        QString userEmail;
    };
    struct CompanyChoice {
        std::vector<LoginCompany> companies; ///< In display order.
        std::optional<QString> recentEndpoint;
        QString userName;
        AuthTokens tokens; ///< Stored when a company is chosen.
    };
    struct ForgotPassword {};
    using Any = std::variant<Form, OTP, CompanyChoice, ForgotPassword>;
};

/// The sign-in screens, up to the configuration that completes a sign-in. One instance for all views, so that entered
/// text and pending requests outlive them. Main thread.
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
    /// The message of the form: the error of the last attempt until the text changes, then the validation hint.
    std::optional<QString> formMessage() const;
    /// True while a sign-in, code check or company selection is pending; the controls are disabled.
    bool isBusy() const { return isLoading_ || otpVerifying_ || companySelecting_; }
    const OTPEntry& otp() const { return otp_; }
    /// The message of the code screen.
    std::optional<QString> otpErrorMessage() const { return otpErrorMessage_ ? otpErrorMessage_ : errorMessage_; }
    /// The address that the code was sent to.
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

    /// Has no effect while one is pending.
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
    int visit_ = 0; ///< Incremented when a screen is entered: a late reply to an earlier one is dropped.
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
