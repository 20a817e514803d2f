#pragma once

#include "model/AuthTokens.h"
#include "platform/SecretStore.h"

#include <atomic>
#include <functional>
#include <optional>

/// The one secret of the program: the token set. Calls may block (see SecretStore); never on the main thread, safe
/// from any other. Failures look like missing tokens; nothing is cached.
class KeychainService {
public:
    static constexpr auto service = "com.velmora.timetracker";
    static constexpr auto account = "auth_tokens";

    /// `needsUnlock` is called on the reading thread when a read that gives up finds the keyring locked, and nobody
    /// was asked to unlock it since it last answered.
    explicit KeychainService(SecretStore& secrets, std::function<void()> needsUnlock = {})
        : secrets_(secrets)
        , needsUnlock_(std::move(needsUnlock)) {}

    /// Asks for the unlock of a locked keyring and waits for its end.
    std::optional<AuthTokens> getAuthTokens();
    /// Replaces what is stored; tokens that cannot be encoded change nothing, nor does a keyring that stays locked.
    /// Whether they are stored.
    bool saveAuthTokens(const AuthTokens& tokens);
    void deleteAuthTokens();

    /// What a reader needs to tell apart: tokens, none, or a keyring that has not answered.
    struct Answer {
        std::optional<AuthTokens> tokens;
        /// Without tokens, `missing` alone is definite: else the tokens may exist.
        SecretStore::Status status = SecretStore::Status::missing;

        bool isDefinite() const { return tokens || status == SecretStore::Status::missing; }
    };
    Answer readAuthTokens(SecretStore::WhenLocked whenLocked);

private:
    SecretStore& secrets_;
    const std::function<void()> needsUnlock_;
    std::atomic<bool> unlockPrompted_ = false; ///< The person, to unlock the keyring since it last answered.
};
