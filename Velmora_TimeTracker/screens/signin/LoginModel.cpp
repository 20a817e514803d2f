#include "screens/signin/LoginModel.h"

#include "application/CompanyAccount.h"
#include "platform/Desktop.h"
#include "platform/PreferenceStore.h"
#include "screens/signin/LoginRules.h"
#include "server/AuthService.h"
#include "server/RemoteConfigService.h"
#include "storage/DomainStorage.h"
#include "storage/PreferenceStores.h"

#include <QPointer>

using namespace Qt::StringLiterals;

LoginModel::LoginModel(const Dependencies& dependencies)
    : deps_(dependencies)
    , resendCooldown_(deps_.main, [this] { Q_EMIT changed(); })
    , forgotPassword_(deps_.auth, deps_.main) {
    reset();
    connect(&forgotPassword_, &ForgotPasswordModel::changed, this, &LoginModel::changed);
}

void LoginModel::reset() {
    email_ = RememberedLoginStorage::savedEmail(deps_.preferences).value_or(QString());
    password_.clear();
    showPassword_ = showNoAccountInfo_ = isLoading_ = otpVerifying_ = companySelecting_ = false;
    errorMessage_.reset();
    enter(LoginPhase::Form{});
}

void LoginModel::enter(const LoginPhase::Any& phase) {
    phase_ = phase;
    ++visit_;
    otp_ = {};
    otpErrorMessage_.reset();
    if (std::holds_alternative<LoginPhase::OTP>(phase_))
        resendCooldown_.start();
    else
        resendCooldown_.cancel();
    Q_EMIT changed();
}

std::optional<QString> LoginModel::formMessage() const {
    return errorMessage_ ? errorMessage_ : LoginRules::clientValidationMessage(email_.trimmed(), password_);
}

QString LoginModel::otpAddress() const {
    const auto* otp = std::get_if<LoginPhase::OTP>(&phase_);
    if (!otp)
        return {};
    return otp->userEmail.isEmpty() ? otp->email : otp->userEmail;
}

void LoginModel::setEmail(const QString& email) {
    if (email == email_)
        return;
    email_ = email;
    errorMessage_.reset();
    Q_EMIT changed();
}

void LoginModel::setPassword(const QString& password) {
    if (password == password_)
        return;
    password_ = password;
    errorMessage_.reset();
    Q_EMIT changed();
}

void LoginModel::togglePassword() {
    showPassword_ = !showPassword_;
    Q_EMIT changed();
}

void LoginModel::setNoAccountInfoShown(bool shown) {
    showNoAccountInfo_ = shown;
    Q_EMIT changed();
}

void LoginModel::openWebsite() {
    deps_.desktop.open(QUrl(u"https://www.velmora.example"_s));
}

void LoginModel::openForgotPassword() {
    forgotPassword_.open(email_);
    enter(LoginPhase::ForgotPassword{});
}

void LoginModel::backToForm() {
    forgotPassword_.close();
    enter(LoginPhase::Form{});
}

Task<> LoginModel::performLogin() {
    if (loginInProgress_ || isBusy())
        co_return;
    loginInProgress_ = true;
    isLoading_ = true;
    const QString email = email_.trimmed();
    RememberedLoginStorage::save(email, deps_.preferences);
    errorMessage_ = LoginRules::validationError(email, password_);
    Q_EMIT changed();
    const QPointer<LoginModel> self(this);
    std::optional<SingleLoginResult> result;
    if (!errorMessage_) {
        try {
            result = co_await deps_.auth.login(email, password_);
        } catch (const APIError& error) {
            if (self)
                errorMessage_ = LoginRules::failure(error, u"Login failed. Check your credentials and connection."_s);
        }
    }
    if (!self)
        co_return;
    loginInProgress_ = false;
    isLoading_ = false;
    if (result)
        proceed(*result);
    Q_EMIT changed();
}

void LoginModel::proceed(const SingleLoginResult& result) {
    if (const auto* otp = std::get_if<OtpRequired>(&result)) {
        enter(LoginPhase::OTP{otp->email, otp->userEmail});
    } else if (const auto* choice = std::get_if<CompanySelection>(&result)) {
        auto ordered =
            CompanyListOrder::ordered(choice->companies, LastCompanyStorage::lastEndpoint(deps_.preferences));
        enter(LoginPhase::CompanyChoice{std::move(ordered.companies), ordered.recentEndpoint, choice->userName,
                                        choice->tokens});
    } else {
        completeLogin(std::get<DirectConfig>(result).user);
    }
}

void LoginModel::completeLogin(const std::optional<LoginUser>& user) {
    const auto base = deps_.domain.getBaseURL();
    const auto host = base && !base->host().isEmpty() ? std::optional(base->host()) : std::nullopt;
    UserProfileStorage::set(user ? user->name.value_or(user->email) : email_.trimmed(), host, deps_.preferences);
    spawn(finishSignIn(), "sign-in");
}

Task<> LoginModel::finishSignIn() {
    isLoading_ = true;
    Q_EMIT changed();
    const QPointer<LoginModel> self(this);
    const SignIn signIn = deps_.auth.signIn();
    std::optional<RemoteConfig> config;
    std::optional<APIError> failure;
    try {
        config = co_await deps_.remoteConfig.fetchConfig();
    } catch (const APIError& error) {
        failure = error;
        const bool isStillSignedIn =
            self && error.kind() != APIError::Kind::unauthorized && deps_.auth.signIn() == signIn;
        if (isStillSignedIn)
            config = deps_.remoteConfig.cachedConfig();
    }
    if (!self)
        co_return;
    if (!config) {
        failToConfigure(*failure);
        co_return;
    }
    deps_.company.signedIn(*config);
    reset();
}

void LoginModel::failToConfigure(const APIError& error) {
    isLoading_ = companySelecting_ = false;
    errorMessage_ = LoginRules::failure(error, u"Failed to load configuration."_s);
    Q_EMIT changed();
}

void LoginModel::changeOtp(int index, const QString& text) {
    otp_.change(index, text);
    Q_EMIT changed();
}

void LoginModel::commitOtp(int index) {
    otp_.commit(index);
    Q_EMIT changed();
}

Task<> LoginModel::performVerifyOtp() {
    if (!canVerifyOtp())
        co_return;
    otpErrorMessage_.reset();
    errorMessage_.reset();
    otpVerifying_ = true;
    Q_EMIT changed();
    const QPointer<LoginModel> self(this);
    LoginRequest body;
    body.email = email_.trimmed();
    body.password = otp_.code();
    body.isOtp = 1;
    std::optional<SingleLoginResult> result;
    QString failure;
    try {
        result = co_await deps_.auth.performSingleLogin(body);
    } catch (const APIError& error) {
        failure = LoginRules::failure(error, u"Verification failed. Check the code and try again."_s);
    }
    if (!self)
        co_return;
    otpVerifying_ = false;
    if (!result)
        otpErrorMessage_ = failure;
    else if (std::holds_alternative<OtpRequired>(*result))
        otpErrorMessage_ = u"Invalid OTP code. Please try again."_s;
    else
        proceed(*result);
    Q_EMIT changed();
}

Task<> LoginModel::performResendOtp() {
    if (resendCooldown_.secondsLeft() > 0)
        co_return;
    otpErrorMessage_.reset();
    resendCooldown_.start();
    const QPointer<LoginModel> self(this);
    const int visit = visit_;
    const QString address = email_.trimmed();
    bool sent = true;
    try {
        co_await deps_.auth.generateOtp(address);
    } catch (const std::exception&) {
        sent = false;
    }
    if (!self || visit != visit_ || sent)
        co_return;
    otpErrorMessage_ = u"Failed to resend the code."_s;
    Q_EMIT changed();
}

Task<> LoginModel::performCompanySelect(LoginCompany company) {
    const auto* choice = std::get_if<LoginPhase::CompanyChoice>(&phase_);
    if (isBusy() || !choice)
        co_return;
    deps_.preferences.set(QString::fromLatin1(PreferenceKey::lastSelectedCompanyEndpoint), company.endpoint);
    UserProfileStorage::set(choice->userName, company.name, deps_.preferences);
    companySelecting_ = true;
    errorMessage_.reset();
    Q_EMIT changed();
    const QPointer<LoginModel> self(this);
    const AuthTokens tokens = choice->tokens;
    try {
        co_await deps_.auth.selectCompany(company.endpoint, tokens, email_.trimmed());
    } catch (const APIError& error) {
        if (self)
            failToConfigure(error);
        co_return;
    }
    if (self)
        spawn(finishSignIn(), "sign-in");
}
