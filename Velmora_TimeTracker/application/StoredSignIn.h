#pragma once

#include "platform/SecretStore.h"
#include "platform/Task.h"

#include <functional>

class AuthService;
class Executor;
class KeychainService;

/// The sign-in that the keyring stores, and the prompt that unlocks the keyring.
class StoredSignIn {
public:
    StoredSignIn(KeychainService& keychain, AuthService& auth, Executor& userInitiated);

    /// Reads whether a sign-in is stored; runs on `userInitiated`. A locked or absent keyring is no result: the user is
    /// prompted once to unlock it, and the read is repeated until the keyring returns one. `waiting` gets the reason of
    /// each failed read, on `userInitiated`.
    Task<bool> restore(std::function<void(SecretStore::Status)> waiting);
    /// Prompts the user to unlock the keyring. Any thread; returns at once.
    void askToUnlock();

private:
    KeychainService& keychain_;
    AuthService& auth_;
    Executor& userInitiated_;
};
