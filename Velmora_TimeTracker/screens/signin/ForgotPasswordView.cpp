#include "screens/signin/ForgotPasswordView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRLabel.h"
#include "screens/design/VRTextField.h"
#include "screens/signin/LoginModel.h"

#include <QShortcut>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

ForgotPasswordView::ForgotPasswordView(LoginModel& model, const VREnvironment& environment)
    : SignInPage(environment, {.banner = &VRPalette::forgotBanner,
                               .title = u"Forgot password?"_s,
                               .text = u"Enter your account email. We'll send you a link to reset your password."_s})
    , model_(model)
    , email_(new VRTextField(environment, u"Email"_s, u"VRIconMail"_s, u"#forgotEmail"_s))
    , status_(new VRLabel(environment, VR::Type::caption, VR::Ink::good, {}, 5))
    , send_(new VRButton(environment, VRButton::Look::gradient, {}, u"#sendResetLink"_s))
    , note_(new VRLabel(environment, VR::Type::caption, VR::Ink::text,
                        u"Didn't receive the email?\nCheck your spam folder or contact your "
                        "company's HR/admin."_s,
                        4)) {
    status_->setMinimumHeight(20);
    status_->setAccessibleDescription(u"#forgotStatus"_s);
    note_->setAlignment(Qt::AlignCenter);
    auto* back = new VRButton(environment, VRButton::Look::link, u"Back to Login"_s, u"#backToLogin"_s);
    back->setIconName(u"VRIconChevronLeft"_s);
    fields().addWidget(email_);
    fields().addWidget(status_);
    fields().addWidget(send_);
    footer().addWidget(note_);
    footer().addWidget(back, 0, Qt::AlignHCenter);
    const auto send = [this] { spawn(model_.forgotPassword().sendResetLink(), "reset link"); };
    connect(email_, &VRTextField::edited, &model.forgotPassword(), &ForgotPasswordModel::setEmail);
    connect(email_, &VRTextField::submitted, this, send);
    connect(send_, &VRButton::clicked, this, send);
    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    connect(escape, &QShortcut::activated, &model, &LoginModel::backToForm);
    connect(back, &VRButton::clicked, &model, &LoginModel::backToForm);
    connect(&model.forgotPassword(), &ForgotPasswordModel::changed, this, &ForgotPasswordView::refresh);
    refresh();
}

void ForgotPasswordView::refresh() {
    const ForgotPasswordModel& forgot = model_.forgotPassword();
    email_->setText(forgot.email());
    status_->setInk(forgot.statusIsError() ? VR::Ink::danger : VR::Ink::good);
    status_->setText(forgot.statusMessage().value_or(QString()));
    send_->setText(forgot.buttonTitle());
    send_->setEnabled(forgot.canSend());
    note_->setVisible(forgot.didSendSuccessfully());
}

void ForgotPasswordView::showEvent(QShowEvent* event) {
    SignInPage::showEvent(event);
    email_->focusInput();
}
