#pragma once

#include "screens/signin/SignInPage.h"

class VRLabel;
class LoginModel;
class VRButton;
class VRTextField;

/// Requests a link for a new password.
class ForgotPasswordView : public SignInPage {
public:
    ForgotPasswordView(LoginModel& model, const VREnvironment& environment);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void refresh();

    LoginModel& model_;
    VRTextField* const email_;
    VRLabel* const status_;
    VRButton* const send_;
    VRLabel* const note_;
};
