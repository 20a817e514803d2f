#include "screens/signin/ForgotPasswordModel.h"

#include "screens/signin/LoginRules.h"
#include "server/AuthService.h"

#include <QPointer>

using namespace Qt::StringLiterals;

ForgotPasswordModel::ForgotPasswordModel(AuthService& auth, Executor& main)
    : auth_(auth)
    , resendCooldown_(main, [this] { Q_EMIT changed(); }) {}

void ForgotPasswordModel::close() {
    ++visit_;
    resendCooldown_.cancel();
}

void ForgotPasswordModel::open(const QString& initialEmail) {
    close();
    email_ = initialEmail;
    isSending_ = false;
    statusMessage_.reset();
    statusIsError_ = false;
    didSendSuccessfully_ = false;
    Q_EMIT changed();
}

void ForgotPasswordModel::setEmail(const QString& email) {
    email_ = email;
    Q_EMIT changed();
}

bool ForgotPasswordModel::canSend() const {
    return LoginRules::isEmail(email_.trimmed()) && !isSending_ && resendCooldown_.secondsLeft() == 0;
}

QString ForgotPasswordModel::buttonTitle() const {
    if (!didSendSuccessfully_)
        return u"Send Reset Link"_s;
    const int left = resendCooldown_.secondsLeft();
    return left > 0 ? u"Resend (%1s)"_s.arg(left) : u"Resend Reset Link"_s;
}

Task<> ForgotPasswordModel::sendResetLink() {
    if (!canSend())
        co_return;
    isSending_ = true;
    statusMessage_.reset();
    Q_EMIT changed();
    const QPointer<ForgotPasswordModel> self(this);
    const int visit = visit_;
    const QString address = email_.trimmed();
    bool sent = true;
    try {
        co_await auth_.requestPasswordRecovery(address);
    } catch (const std::exception&) {
        sent = false;
    }
    if (!self || visit != visit_)
        co_return;
    isSending_ = false;
    statusIsError_ = !sent;
    statusMessage_ = sent ? u"A reset link has been sent to %1. Please check your email."_s.arg(address)
                          : u"Failed to send the reset link. Check your email and connection."_s;
    if (sent) {
        didSendSuccessfully_ = true;
        resendCooldown_.start();
    }
    Q_EMIT changed();
}
