#include "screens/signin/ForgotPasswordView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRLabel.h"
#include "screens/design/VRTextField.h"
#include "screens/signin/LoginModel.h"

#include <QShortcut>
#include <QVBoxLayout>

ForgotPasswordView::ForgotPasswordView(LoginModel& model, const VREnvironment& environment)
    : SignInPage(
          environment,
          {.banner = &VRPalette::forgotBanner,
           .title = QStringLiteral("Forgot password?"),
           .text = QStringLiteral("Enter your account email. We'll send you a link to reset your password.")})
    , model_(model)
    , email_(new VRTextField(environment, QStringLiteral("Email"), QStringLiteral("VRIconMail"),
                             QStringLiteral("#forgotEmail")))
    , status_(new VRLabel(environment, VR::Type::caption, VR::Ink::good, {}, 5))
    , send_(new VRButton(environment, VRButton::Look::gradient, {}, QStringLiteral("#sendResetLink")))
    , note_(new VRLabel(environment, VR::Type::caption, VR::Ink::text,
                        QStringLiteral("Didn't receive the email?\nCheck your spam folder or contact your "
                                       "company's HR/admin."),
                        4)) {
    status_->setMinimumHeight(20);
    status_->setAccessibleDescription(QStringLiteral("#forgotStatus"));
    note_->setAlignment(Qt::AlignCenter);
    auto* back = new VRButton(environment, VRButton::Look::link, QStringLiteral("Back to Login"),
                              QStringLiteral("#backToLogin"));
    back->setIconName(QStringLiteral("VRIconChevronLeft"));
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
