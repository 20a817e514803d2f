#include "KeychainService.h"

std::optional<AuthTokens> KeychainService::getAuthTokens() {
    return readAuthTokens(SecretStore::WhenLocked::askToUnlock).tokens;
}

void KeychainService::saveAuthTokens(const AuthTokens& tokens) {
    const QByteArray encoded = encodeAuthTokens(tokens);
    if (encoded.isEmpty()) {
        return;
    }
    secrets_.remove(service, account);
    secrets_.add(service, account, encoded);
}

void KeychainService::deleteAuthTokens() {
    secrets_.remove(service, account);
}

KeychainService::Answer KeychainService::readAuthTokens(SecretStore::WhenLocked whenLocked) {
    if (whenLocked == SecretStore::WhenLocked::askToUnlock)
        wasAsked_ = true;
    const SecretStore::ReadResult read = secrets_.read(service, account, whenLocked);
    switch (read.status) {
    case SecretStore::Status::success:
        wasAsked_ = false;
        return {decodeAuthTokens(read.value), true};
    case SecretStore::Status::missing:
        wasAsked_ = false;
        return {std::nullopt, true};
    case SecretStore::Status::locked:
        if (needsUnlock_ && !wasAsked_.exchange(true))
            needsUnlock_();
        break;
    case SecretStore::Status::failed:
        if (whenLocked == SecretStore::WhenLocked::askToUnlock)
            wasAsked_ = false; // the request did not reach anybody
        break;
    }
    return {std::nullopt, false};
}
