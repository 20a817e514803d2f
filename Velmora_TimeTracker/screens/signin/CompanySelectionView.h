#pragma once

#include "screens/signin/SignInPage.h"

#include <vector>

class VRLabel;
class LoginModel;
class CompanyRowButton;

/// Lists the companies of the user.
class CompanySelectionView : public SignInPage {
public:
    CompanySelectionView(LoginModel& model, const VREnvironment& environment);

private:
    void buildRows();
    void refresh();

    LoginModel& model_;
    std::vector<CompanyRowButton*> rows_;
    VRLabel* message_ = nullptr;
};
