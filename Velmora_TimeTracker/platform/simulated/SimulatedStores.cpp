#include "platform/simulated/SimulatedStores.h"

QJsonValue MemoryPreferenceStore::value(const QString& key) const {
    const std::lock_guard guard(mutex_);
    return values_.value(key, QJsonValue(QJsonValue::Undefined));
}

void MemoryPreferenceStore::set(const QString& key, const QJsonValue& value) {
    const std::lock_guard guard(mutex_);
    if (!failsToWrite)
        values_.insert(key, value);
}

void MemoryPreferenceStore::remove(const QString& key) {
    const std::lock_guard guard(mutex_);
    if (!failsToWrite)
        values_.remove(key);
}

SecretStore::ReadResult MemorySecretStore::read(const QString& service, const QString& account, WhenLocked whenLocked) {
    const std::lock_guard guard(mutex_);
    ++reads;
    if (isAbsent)
        return {Status::absent, {}};
    if (isBroken)
        return {Status::failed, {}};
    if (isLocked && whenLocked == WhenLocked::askToUnlock) {
        ++prompts;
        isLocked = !unlocksWhenAsked;
    }
    if (isLocked)
        return {Status::locked, {}};
    const auto found = items_.constFind({service, account});
    if (found == items_.constEnd())
        return {Status::missing, {}};
    return {Status::success, *found};
}

SecretStore::Status MemorySecretStore::remove(const QString& service, const QString& account) {
    const std::lock_guard guard(mutex_);
    if (isBroken)
        return Status::failed;
    if (isLocked)
        return Status::locked;
    return items_.remove({service, account}) > 0 ? Status::success : Status::missing;
}

SecretStore::Status MemorySecretStore::add(const QString& service, const QString& account, const QByteArray& value) {
    const std::lock_guard guard(mutex_);
    if (isBroken)
        return Status::failed;
    if (isLocked)
        return Status::locked;
    items_.insert({service, account}, value);
    return Status::success;
}
