#include "server/RequestTokens.h"

#include "platform/Log.h"
#include "platform/URLSession.h"
#include "storage/KeychainService.h"

using namespace Qt::StringLiterals;

std::optional<AuthTokens> requestTokens(KeychainService& keychain) {
    KeychainService::Answer answer = keychain.readAuthTokens(SecretStore::WhenLocked::giveUp);
    if (answer.isDefinite())
        return std::move(answer.tokens);
    const URLError failure(URLError::Code::dataNotAllowed, u"The keyring does not answer."_s);
    qCCritical(Log::auth, "Nothing is sent: %s", failure.what());
    throw failure;
}
