#include "application/StoredSignIn.h"

#include "server/AuthService.h"
#include "storage/KeychainService.h"

namespace {
constexpr Seconds retryInterval = 2.0;
}

StoredSignIn::StoredSignIn(KeychainService& keychain, AuthService& auth, Executor& userInitiated)
    : keychain_(keychain)
    , auth_(auth)
    , userInitiated_(userInitiated) {}

Task<bool> StoredSignIn::restore(std::function<void(SecretStore::Status)> waiting) {
    const SignIn launched = auth_.signIn();
    auto answer = keychain_.readAuthTokens(SecretStore::WhenLocked::askToUnlock);
    while (!answer.isDefinite()) {
        waiting(answer.status);
        co_await sleepFor(userInitiated_, retryInterval);
        answer = keychain_.readAuthTokens(SecretStore::WhenLocked::giveUp);
    }
    co_return co_await auth_.restore(answer.tokens.has_value(), launched);
}

void StoredSignIn::askToUnlock() {
    // Returns only when the user has answered the prompt.
    userInitiated_.post([this] { keychain_.readAuthTokens(SecretStore::WhenLocked::askToUnlock); });
}
