#pragma once

#include "model/AuthTokens.h"

#include <optional>

class KeychainService;

/// The tokens that a request is made with; absent only when the keyring holds none. Waits for nobody: while the
/// keyring is locked or cannot be asked, it throws a URLError of the offline kind, since the sign-in may exist. On
/// the worker executor.
std::optional<AuthTokens> requestTokens(KeychainService& keychain);
