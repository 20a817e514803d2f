#pragma once

#include "platform/Date.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QUuid>
#include <optional>

/// Strict readers of JSON values: absent when the key is missing, null, or of another type. An integer is a
/// number without a fraction that fits 64 bits.
namespace Json {

/// The parsed object; absent if the bytes are invalid or hold another type.
std::optional<QJsonObject> object(const QByteArray& json);
std::optional<QJsonObject> object(const QJsonObject& from, const QString& key);
std::optional<QJsonArray> array(const QJsonObject& from, const QString& key);
std::optional<QString> string(const QJsonObject& from, const QString& key);
std::optional<bool> boolean(const QJsonObject& from, const QString& key);
std::optional<double> number(const QJsonObject& from, const QString& key);
std::optional<qint64> integer(const QJsonObject& from, const QString& key);
std::optional<qint64> integer(const QJsonValue& value);
/// Seconds since 2001.
std::optional<Date> date(const QJsonObject& from, const QString& key);
std::optional<QUuid> uuid(const QJsonObject& from, const QString& key);

/// True if the key is present and not null but `optional` is absent, because its type is wrong. Such a key makes the
/// whole record undecodable.
template <typename T>
bool isMistyped(const QJsonObject& from, const QString& key, const std::optional<T>& read) {
    return !read && from.contains(key) && !from.value(key).isNull();
}

/// `read` applied to the value; absent if the value or the result is.
template <typename T, typename Read>
auto then(const std::optional<T>& value, Read read) -> decltype(read(*value)) {
    return value ? read(*value) : std::nullopt;
}

QByteArray compact(const QJsonObject& object);

} // namespace Json
