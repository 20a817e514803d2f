#include "screens/signin/LoginView.h"

#include "screens/signin/CompanySelectionView.h"
#include "screens/signin/ForgotPasswordView.h"
#include "screens/signin/LoginFormView.h"
#include "screens/signin/LoginModel.h"
#include "screens/signin/OTPVerificationView.h"

#include <QVBoxLayout>

namespace {
struct PageOf {
    LoginModel& model;
    const VREnvironment& environment;

    QWidget* operator()(const LoginPhase::Form&) const { return new LoginFormView(model, environment); }
    QWidget* operator()(const LoginPhase::OTP&) const { return new OTPVerificationView(model, environment); }
    QWidget* operator()(const LoginPhase::CompanyChoice&) const { return new CompanySelectionView(model, environment); }
    QWidget* operator()(const LoginPhase::ForgotPassword&) const { return new ForgotPasswordView(model, environment); }
};
} // namespace

LoginView::LoginView(LoginModel& model, const VREnvironment& environment)
    : model_(model)
    , environment_(environment)
    , column_(new QVBoxLayout(this)) {
    column_->setContentsMargins(0, 0, 0, 0);
    connect(&model, &LoginModel::changed, this, &LoginView::refresh);
    refresh();
}

void LoginView::refresh() {
    if (shownPhase_ == model_.phase().index())
        return;
    shownPhase_ = model_.phase().index();
    if (page_)
        model_.disconnect(page_); // its phase is over
    VR::discard(page_);
    page_ = std::visit(PageOf{model_, environment_}, model_.phase());
    column_->addWidget(page_);
    page_->show();
}
