#pragma once

#include <QJsonValue>
#include <QString>
#include <optional>

/// The user's preferences: typed values by key. Callers cache nothing; every write is immediate, and a failed one is
/// logged. Safe to call from any thread.
class PreferenceStore {
public:
    virtual ~PreferenceStore() = default;

    /// Undefined when the key is missing.
    virtual QJsonValue value(const QString& key) const = 0;
    virtual void set(const QString& key, const QJsonValue& value) = 0;
    virtual void remove(const QString& key) = 0;
    /// Like `set`, for a generated value: if the stored preferences cannot be read yet, a stored value takes
    /// precedence once they can.
    virtual void setDefault(const QString& key, const QJsonValue& value) { set(key, value); }

    /// Absent when the key is missing or holds another type.
    std::optional<QString> string(const QString& key) const;
    std::optional<bool> boolean(const QString& key) const;
    std::optional<double> number(const QString& key) const;
};
