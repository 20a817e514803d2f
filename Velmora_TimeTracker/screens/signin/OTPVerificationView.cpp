#include "screens/signin/OTPVerificationView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRLabel.h"
#include "screens/signin/LoginModel.h"
#include "screens/signin/OTPDigitField.h"

#include <QHBoxLayout>
#include <QShortcut>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {
QString explanation(const QString& address) {
    return u"We've sent a verification code to your email %1. This is required to keep your account "
           "secure."_s.arg(VR::shortName(address));
}
} // namespace

OTPVerificationView::OTPVerificationView(LoginModel& model, const VREnvironment& environment)
    : SignInPage(
          environment,
          {.banner = &VRPalette::forgotBanner, .title = u"Verify with OTP"_s, .text = explanation(model.otpAddress())})
    , model_(model) {
    buildBoxes();
    buildResend();
    connect(&model, &LoginModel::changed, this, &OTPVerificationView::refresh);
    refresh();
}

void OTPVerificationView::buildBoxes() {
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    const auto verify = [this] { spawn(model_.performVerifyOtp(), "code check"); };
    for (int i = 0; i < OTPEntry::length; ++i) {
        auto* box = new OTPDigitField(environment(), i);
        boxes_.at(static_cast<std::size_t>(i)) = box;
        row->addWidget(box, 1);
        connect(box, &QLineEdit::textEdited, this, [this, i](const QString& text) {
            model_.changeOtp(i, text);
            followFocus();
        });
        connect(box, &QLineEdit::returnPressed, this, [this, i, verify] {
            if (i + 1 == OTPEntry::length)
                return verify();
            model_.commitOtp(i);
            followFocus();
        });
    }
    message_ = new VRLabel(environment(), VR::Type::caption, VR::Ink::danger, {}, 2);
    message_->setMinimumHeight(20);
    message_->setAccessibleDescription(u"#otpMessage"_s);
    verify_ = new VRButton(environment(), VRButton::Look::gradient, u"Verify Code"_s, u"#verifyCode"_s);
    fields().addLayout(row);
    fields().addWidget(message_);
    fields().addWidget(verify_);
    connect(verify_, &VRButton::clicked, this, verify);
}

void OTPVerificationView::buildResend() {
    const auto line = [this](const QString& text) {
        auto* label = new VRLabel(environment(), VR::Type::caption, VR::Ink::text, text, 2);
        label->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
        footer().addWidget(label);
        return label;
    };
    line(u"Didn't receive the verification code by email?"_s);
    line(u"Please check your spam folder, or"_s);
    waiting_ = line({});
    resend_ = new VRButton(environment(), VRButton::Look::link, u"Resend code"_s, u"#resendCode"_s);
    footer().addWidget(resend_, 0, Qt::AlignHCenter);
    auto* back = new VRButton(environment(), VRButton::Look::link, u"Back to Login"_s, u"#backToLogin"_s);
    back->setIconName(u"VRIconChevronLeft"_s);
    footer().addWidget(back, 0, Qt::AlignHCenter);
    connect(resend_, &VRButton::clicked, this, [this] { spawn(model_.performResendOtp(), "code request"); });
    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    connect(escape, &QShortcut::activated, &model_, &LoginModel::backToForm);
    connect(back, &VRButton::clicked, &model_, &LoginModel::backToForm);
}

void OTPVerificationView::followFocus() {
    OTPDigitField* box = boxes_.at(static_cast<std::size_t>(model_.otp().focusedField));
    box->setFocus(Qt::OtherFocusReason);
    box->selectAll(); // it may be focused already
}

void OTPVerificationView::refresh() {
    for (std::size_t i = 0; i < boxes_.size(); ++i) {
        const QString& digit = model_.otp().digits.at(i);
        if (boxes_.at(i)->text() != digit)
            boxes_.at(i)->setText(digit);
    }
    message_->setText(model_.otpErrorMessage().value_or(QString()));
    verify_->setEnabled(model_.canVerifyOtp());
    verify_->setText(model_.isBusy() ? u"Verifying…"_s : u"Verify Code"_s);
    const int seconds = model_.resendCooldownSeconds();
    waiting_->setText(u"Resend code to the registered contact (%1s)"_s.arg(seconds));
    waiting_->setVisible(seconds > 0);
    resend_->setVisible(seconds == 0);
}

void OTPVerificationView::showEvent(QShowEvent* event) {
    SignInPage::showEvent(event);
    followFocus();
}
