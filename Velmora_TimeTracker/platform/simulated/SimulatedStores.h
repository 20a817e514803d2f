#pragma once

#include "platform/PreferenceStore.h"
#include "platform/SecretStore.h"

#include <QHash>
#include <QPair>
#include <mutex>

/// Preferences in memory. They outlive a simulated death of the process, as a file would.
class MemoryPreferenceStore : public PreferenceStore {
public:
    QJsonValue value(const QString& key) const override;
    void set(const QString& key, const QJsonValue& value) override;
    void remove(const QString& key) override;

    /// Writes are lost while true, as on a full disk.
    bool failsToWrite = false;

private:
    mutable std::mutex mutex_;
    QHash<QString, QJsonValue> values_;
};

/// A keyring in memory that can be locked or broken.
class MemorySecretStore : public SecretStore {
public:
    ReadResult read(const QString& service, const QString& account, WhenLocked whenLocked) override;
    Status remove(const QString& service, const QString& account) override;
    Status add(const QString& service, const QString& account, const QByteArray& value) override;

    bool isLocked = false;
    /// If true, the user unlocks at the prompt; otherwise dismisses it.
    bool unlocksWhenAsked = false;
    bool isBroken = false;
    bool isAbsent = false;
    int prompts = 0;
    int reads = 0;

private:
    mutable std::mutex mutex_;
    QHash<QPair<QString, QString>, QByteArray> items_;
};
