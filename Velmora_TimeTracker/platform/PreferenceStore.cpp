#include "platform/PreferenceStore.h"

std::optional<QString> PreferenceStore::string(const QString& key) const {
    const QJsonValue stored = value(key);
    return stored.isString() ? std::optional(stored.toString()) : std::nullopt;
}

std::optional<bool> PreferenceStore::boolean(const QString& key) const {
    const QJsonValue stored = value(key);
    return stored.isBool() ? std::optional(stored.toBool()) : std::nullopt;
}

std::optional<double> PreferenceStore::number(const QString& key) const {
    const QJsonValue stored = value(key);
    return stored.isDouble() ? std::optional(stored.toDouble()) : std::nullopt;
}
