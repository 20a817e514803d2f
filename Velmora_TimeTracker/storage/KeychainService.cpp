#include "storage/KeychainService.h"

std::optional<AuthTokens> KeychainService::getAuthTokens() {
    return readAuthTokens(SecretStore::WhenLocked::askToUnlock).tokens;
}

bool KeychainService::saveAuthTokens(const AuthTokens& tokens) {
    const QByteArray encoded = encodeAuthTokens(tokens);
    if (encoded.isEmpty())
        return false;
    if (secrets_.remove(service, account) == SecretStore::Status::locked)
        return false; // the prompt was dismissed; it is not shown again
    return secrets_.add(service, account, encoded) == SecretStore::Status::success;
}

void KeychainService::deleteAuthTokens() {
    secrets_.remove(service, account);
}

KeychainService::Answer KeychainService::readAuthTokens(SecretStore::WhenLocked whenLocked) {
    if (whenLocked == SecretStore::WhenLocked::askToUnlock)
        unlockPrompted_ = true;
    const SecretStore::ReadResult read = secrets_.read(service, account, whenLocked);
    switch (read.status) {
    case SecretStore::Status::success: {
        unlockPrompted_ = false;
        auto tokens = decodeAuthTokens(read.value);
        const auto status = tokens ? read.status : SecretStore::Status::missing;
        return {std::move(tokens), status};
    }
    case SecretStore::Status::missing:
        unlockPrompted_ = false;
        break;
    case SecretStore::Status::locked:
        if (needsUnlock_ && !unlockPrompted_.exchange(true))
            needsUnlock_();
        break;
    case SecretStore::Status::failed:
    case SecretStore::Status::absent:
        if (whenLocked == SecretStore::WhenLocked::askToUnlock)
            unlockPrompted_ = false; // no prompt was shown
        break;
    }
    return {std::nullopt, read.status};
}
