#include "model/Json.h"

#include "model/Session.h"

#include <QJsonDocument>

namespace Json {

std::optional<QJsonObject> object(const QByteArray& json) {
    const QJsonDocument document = QJsonDocument::fromJson(json);
    return document.isObject() ? std::optional(document.object()) : std::nullopt;
}

std::optional<QJsonObject> object(const QJsonObject& from, const QString& key) {
    const QJsonValue value = from.value(key);
    return value.isObject() ? std::optional(value.toObject()) : std::nullopt;
}

std::optional<QJsonArray> array(const QJsonObject& from, const QString& key) {
    const QJsonValue value = from.value(key);
    return value.isArray() ? std::optional(value.toArray()) : std::nullopt;
}

std::optional<QString> string(const QJsonObject& from, const QString& key) {
    const QJsonValue value = from.value(key);
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

std::optional<bool> boolean(const QJsonObject& from, const QString& key) {
    const QJsonValue value = from.value(key);
    return value.isBool() ? std::optional(value.toBool()) : std::nullopt;
}

std::optional<double> number(const QJsonObject& from, const QString& key) {
    const QJsonValue value = from.value(key);
    return value.isDouble() ? std::optional(value.toDouble()) : std::nullopt;
}

std::optional<qint64> integer(const QJsonObject& from, const QString& key) {
    return integer(from.value(key));
}

std::optional<qint64> integer(const QJsonValue& value) {
    // A non-integer value returns the given default: two different defaults tell it from an integer.
    const qint64 read = value.toInteger(0);
    return read == value.toInteger(1) ? std::optional(read) : std::nullopt;
}

std::optional<Date> date(const QJsonObject& from, const QString& key) {
    const std::optional<double> seconds = number(from, key);
    return seconds ? std::optional(Date::since2001(*seconds)) : std::nullopt;
}

std::optional<QUuid> uuid(const QJsonObject& from, const QString& key) {
    const std::optional<QString> text = string(from, key);
    return text ? parseUuid(*text) : std::nullopt;
}

QByteArray compact(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace Json
