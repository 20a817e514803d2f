#pragma once

#include "model/AuthTokens.h"
#include "platform/SecretStore.h"

#include <atomic>
#include <functional>
#include <optional>

/// Stores the token set, the only secret of the program. Calls may block (see SecretStore): any thread except the main
/// thread. A failure looks like missing tokens; nothing is cached.
class KeychainService {
public:
    static constexpr auto service = "com.velmora.timetracker";
    static constexpr auto account = "auth_tokens";

    /// `needsUnlock` is called on the reading thread when a read that gives up finds the keyring locked and the user
    /// has not been prompted since the last successful read.
    explicit KeychainService(SecretStore& secrets, std::function<void()> needsUnlock = {})
        : secrets_(secrets)
        , needsUnlock_(std::move(needsUnlock)) {}

    /// Prompts the user to unlock a locked keyring and waits for the answer.
    std::optional<AuthTokens> getAuthTokens();
    /// Replaces the stored tokens. Returns false, and changes nothing, if they cannot be encoded or the keyring stays
    /// locked.
    bool saveAuthTokens(const AuthTokens& tokens);
    void deleteAuthTokens();

    /// The result of a read: tokens, none, or a keyring that could not be read.
    struct Answer {
        std::optional<AuthTokens> tokens;
        /// Without tokens, only `missing` is definite: otherwise tokens may exist.
        SecretStore::Status status = SecretStore::Status::missing;

        bool isDefinite() const { return tokens || status == SecretStore::Status::missing; }
    };
    Answer readAuthTokens(SecretStore::WhenLocked whenLocked);

private:
    SecretStore& secrets_;
    const std::function<void()> needsUnlock_;
    std::atomic<bool> unlockPrompted_ = false; ///< True once the user was prompted since the last successful read.
};
