#pragma once

#include "platform/SecretStore.h"

#include <memory>
#include <mutex>

struct _GCancellable;

/// The desktop's Secret Service. While the session has none and can start none, `read` answers `absent`, and what is
/// added lives in the memory of this process only, with a log line; it never goes to a file. A service that comes
/// later is used from the next call on: what lives in memory moves into it as soon as it is unlocked.
class LibsecretStore final : public SecretStore {
public:
    LibsecretStore();
    ~LibsecretStore() override;

    ReadResult read(const QString& service, const QString& account, WhenLocked whenLocked) override;
    Status remove(const QString& service, const QString& account) override;
    Status add(const QString& service, const QString& account, const QByteArray& value) override;

    /// Makes calls that wait for the user or the service return `failed`, and all later ones: for the
    /// program's end.
    void cancel();

private:
    /// Null while the session has no service. One that was there once is never taken for absent again.
    SecretStore* keyring();
    /// Moves what was added without a service into one that is unlocked.
    void moveInto(SecretStore& store, const QString& service, const QString& account);

    const std::unique_ptr<_GCancellable, void (*)(void*)> cancellable_;
    const std::unique_ptr<SecretStore> memory_;
    std::mutex writing_; ///< Keeps a write, and a move into the keyring, in one step.
    std::mutex choice_;  ///< Guards the members below.
    std::unique_ptr<SecretStore> keyring_;
    bool wasAsked_ = false; ///< The bus, to start a service: once is enough.
};
