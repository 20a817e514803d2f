#pragma once

#include <QObject>

class AppStateManager;
class StoredSignIn;

/// The screen shown while the stored sign-in is read at launch. Main thread.
class RestoreModel : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        AppStateManager& appState;
        StoredSignIn& storedSignIn;
    };
    explicit RestoreModel(const Dependencies& dependencies);

    bool authRestoreIsSlow() const;
    bool keyringIsLocked() const;
    /// Prompts the user again; until the prompt is answered the keyring does not count as locked.
    void unlockKeyring();
    void abandonAuthRestore();

Q_SIGNALS:
    void changed();

private:
    const Dependencies deps_;
};
