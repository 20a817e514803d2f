#pragma once

#include "screens/signin/SignInPage.h"

class VRLabel;
class LoginModel;
class VRButton;
class VRCard;
class VRTextField;

/// E-mail and password.
class LoginFormView : public SignInPage {
public:
    LoginFormView(LoginModel& model, const VREnvironment& environment);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void buildFields();
    void buildFooter();
    VRCard* makeNoAccountCard();
    void refresh();

    LoginModel& model_;
    VRTextField* email_ = nullptr;
    VRTextField* password_ = nullptr;
    VRLabel* message_ = nullptr;
    VRButton* login_ = nullptr;
    VRCard* noAccount_ = nullptr;
};
