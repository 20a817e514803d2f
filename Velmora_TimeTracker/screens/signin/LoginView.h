#pragma once

#include "screens/design/VR.h"

#include <QWidget>
#include <variant>

class LoginModel;
class QVBoxLayout;

/// Shows the sign-in screen of the model's phase.
class LoginView : public QWidget {
public:
    LoginView(LoginModel& model, const VREnvironment& environment);

private:
    void refresh();

    LoginModel& model_;
    const VREnvironment& environment_;
    QVBoxLayout* const column_;
    QWidget* page_ = nullptr;
    std::size_t shownPhase_ = std::variant_npos;
};
