#include "screens/gates/RestoreView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRLabel.h"
#include "screens/design/VRSpinner.h"
#include "screens/gates/RestoreModel.h"

#include <QVBoxLayout>

using namespace Qt::StringLiterals;

RestoreView::RestoreView(RestoreModel& model, const VREnvironment& environment)
    : GateView(environment, u"Restoring your session…"_s)
    , model_(model) {
    putOnTop(new VRSpinner(environment, 40));
    slowHint_ = addText(u"Your desktop may be asking for permission to read your saved sign-in. Check "
                        "for a system dialog behind this window."_s);
    lockedHint_ = addText(u"Your saved sign-in is in a keyring that is locked."_s);
    unlock_ = new VRButton(environment, VRButton::Look::gradient, u"Unlock"_s, u"#unlockKeyring"_s);
    addCentred(unlock_);
    connect(unlock_, &VRButton::clicked, &model, &RestoreModel::unlockKeyring);
    signIn_ = new VRButton(environment, VRButton::Look::outline, u"Sign in instead"_s, u"#signInInstead"_s);
    addCentred(signIn_);
    connect(signIn_, &VRButton::clicked, &model, &RestoreModel::abandonAuthRestore);
    connect(&model, &RestoreModel::changed, this, &RestoreView::refresh);
    refresh();
}

void RestoreView::refresh() {
    const bool isLocked = model_.keyringIsLocked();
    lockedHint_->setVisible(isLocked);
    unlock_->setVisible(isLocked);
    slowHint_->setVisible(model_.authRestoreIsSlow() && !isLocked);
    signIn_->setVisible(model_.authRestoreIsSlow());
}
