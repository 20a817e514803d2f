#pragma once

#include "platform/SecretStore.h"

#include <memory>
#include <mutex>

struct _GCancellable;

/// The desktop's Secret Service. While the session has none and cannot start one, `read` returns `absent`, and added
/// secrets are kept in the memory of this process only, never in a file; this is logged. A service that appears later
/// is used from the next call on, and gets the secrets from memory once it is unlocked.
class LibsecretStore final : public SecretStore {
public:
    LibsecretStore();
    ~LibsecretStore() override;

    ReadResult read(const QString& service, const QString& account, WhenLocked whenLocked) override;
    Status remove(const QString& service, const QString& account) override;
    Status add(const QString& service, const QString& account, const QByteArray& value) override;

    /// Makes pending and later calls return `failed`. Call it at the end of the program.
    void cancel();

private:
    /// Null while the session has no service. A service that was present once never counts as absent again.
    SecretStore* keyring();
    /// Moves secrets from memory into an unlocked service.
    void moveInto(SecretStore& store, const QString& service, const QString& account);

    const std::unique_ptr<_GCancellable, void (*)(void*)> cancellable_;
    const std::unique_ptr<SecretStore> memory_;
    std::mutex writing_; ///< Keeps a write, and a move into the keyring, in one step.
    std::mutex choice_;  ///< Guards the members below.
    std::unique_ptr<SecretStore> keyring_;
    bool startRequested_ = false; ///< True once the bus was asked to start a service.
};
