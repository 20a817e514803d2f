#pragma once

#include "model/AuthTokens.h"

#include <optional>

class KeychainService;

/// The tokens for a request; absent only if the keyring holds none. Never waits for a prompt: if the keyring is locked
/// or unreachable, throws an offline URLError, since a sign-in may exist. Worker executor only.
std::optional<AuthTokens> requestTokens(KeychainService& keychain);
