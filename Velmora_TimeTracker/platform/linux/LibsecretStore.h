#pragma once

#include "SecretStore.h"

#include <memory>
#include <mutex>

struct _GCancellable;

/// The desktop's Secret Service. Where the session has none at the first use, the secrets live in the memory
/// of this process only, for its whole life, and a log line says so; they never go to a file.
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
    /// Decided at the first call.
    SecretStore& chosen();

    const std::unique_ptr<_GCancellable, void (*)(void*)> cancellable_;
    std::once_flag choice_;
    std::unique_ptr<SecretStore> chosen_;
};
