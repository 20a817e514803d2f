#pragma once

#include "AuthTokens.h"
#include "SecretStore.h"

#include <optional>

/// The one secret of the program: the token set. Calls may block (see SecretStore); never on the main thread.
/// Failures look like missing tokens; nothing is cached.
class KeychainService {
public:
    static constexpr auto service = "com.velmora.timetracker";
    static constexpr auto account = "auth_tokens";

    explicit KeychainService(SecretStore& secrets)
        : secrets_(secrets) {}

    /// Asks for the unlock of a locked keyring and waits for its end.
    std::optional<AuthTokens> getAuthTokens();
    /// Replaces what is stored; tokens that cannot be encoded change nothing.
    void saveAuthTokens(const AuthTokens& tokens);
    void deleteAuthTokens();

    /// What the launch read needs to tell apart: tokens, none, or a keyring that has not answered.
    struct Answer {
        std::optional<AuthTokens> tokens;
        /// False while the keyring is locked or cannot be asked: the tokens may exist.
        bool isDefinite = true;
    };
    Answer readAuthTokens(SecretStore::WhenLocked whenLocked);

private:
    SecretStore& secrets_;
};
