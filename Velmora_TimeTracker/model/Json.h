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

/// The object that the bytes hold; absent when they do not parse or hold something else.
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

/// True when the key holds a value of another type than `optional` could read: present and not null, yet
/// unread. An optional key of the wrong type makes its whole record undecodable.
template <typename T>
bool isMistyped(const QJsonObject& from, const QString& key, const std::optional<T>& read) {
    return !read && from.contains(key) && !from.value(key).isNull();
}

/// What `read` makes of the value; absent when either is.
template <typename T, typename Read>
auto then(const std::optional<T>& value, Read read) -> decltype(read(*value)) {
    return value ? read(*value) : std::nullopt;
}

QByteArray compact(const QJsonObject& object);

} // namespace Json
