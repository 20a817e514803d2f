#include "screens/gates/RestoreModel.h"

#include "application/AppStateManager.h"
#include "application/StoredSignIn.h"

RestoreModel::RestoreModel(const Dependencies& dependencies)
    : deps_(dependencies) {
    connect(&deps_.appState, &AppStateManager::changed, this, &RestoreModel::changed);
}

bool RestoreModel::authRestoreIsSlow() const {
    return deps_.appState.authRestoreIsSlow();
}

bool RestoreModel::keyringIsLocked() const {
    return deps_.appState.keyringIsLocked();
}

void RestoreModel::unlockKeyring() {
    deps_.appState.setKeyring(SecretStore::Status::failed);
    deps_.storedSignIn.askToUnlock();
}

void RestoreModel::abandonAuthRestore() {
    deps_.appState.abandonAuthRestore();
}
