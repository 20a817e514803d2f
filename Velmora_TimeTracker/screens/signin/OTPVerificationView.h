#pragma once

#include "screens/signin/SignInPage.h"

#include <array>

class VRLabel;
class LoginModel;
class OTPDigitField;
class VRButton;

/// The one-time code in six boxes.
class OTPVerificationView : public SignInPage {
public:
    OTPVerificationView(LoginModel& model, const VREnvironment& environment);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void buildBoxes();
    void buildResend();
    void refresh();
    void followFocus();

    LoginModel& model_;
    std::array<OTPDigitField*, 6> boxes_{};
    VRLabel* message_ = nullptr;
    VRButton* verify_ = nullptr;
    VRLabel* waiting_ = nullptr;
    VRButton* resend_ = nullptr;
};
