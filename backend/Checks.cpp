#include "backend/Checks.h"

#include "backend/Refusal.h"

#include <QJsonDocument>
#include <QRegularExpression>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace backend {

namespace {

bool matches(const QRegularExpression& pattern, const QString& value) {
    return pattern.match(value).hasMatch();
}

bool isDateTime(const QString& value) {
    static const QRegularExpression form(uR"(\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(Z|[+-]([01]\d):[0-5]\d)\z)"_s);
    return matches(form, value) && QDateTime::fromString(value, Qt::ISODate).isValid();
}

Check textThat(bool (*holds)(const QString&), const QString& expected) {
    return [holds, expected](const QJsonValue& value) {
        return value.isString() && holds(value.toString()) ? QString() : expected;
    };
}

/// A number written without fraction or exponent; QJsonValue keeps the two kinds apart.
bool isInteger(const QJsonValue& value) {
    return value.toVariant().typeId() == QMetaType::LongLong;
}

} // namespace

Check text() {
    return textThat([](const QString&) { return true; }, u"a text"_s);
}

Check filledText() {
    return textThat([](const QString& value) { return !value.isEmpty(); }, u"a text, not empty"_s);
}

Check uuid() {
    return textThat(isUuid, u"a UUID in upper case"_s);
}

Check dateTime() {
    return textThat(isDateTime, u"an ISO 8601 time with seconds and an offset, without fraction"_s);
}

Check day() {
    return textThat([](const QString& value) { return dayFrom(value).has_value(); }, u"a day as yyyy-MM-dd"_s);
}

Check timeZone() {
    return textThat([](const QString& value) { return QTimeZone::isTimeZoneIdAvailable(value.toUtf8()); },
                    u"a known time zone"_s);
}

Check integer(qint64 from, qint64 to) {
    return [from, to](const QJsonValue& value) {
        if (isInteger(value) && value.toInteger() >= from && value.toInteger() <= to)
            return QString();
        return u"an integer from %1 to %2"_s.arg(from).arg(to);
    };
}

Check count() {
    return [](const QJsonValue& value) {
        return isInteger(value) && value.toInteger() >= 0 ? QString() : u"an integer from 0 on"_s;
    };
}

Check number(double from, double to) {
    return [from, to](const QJsonValue& value) {
        if (value.isDouble() && value.toDouble() >= from && value.toDouble() <= to)
            return QString();
        return u"a number from %1 to %2"_s.arg(from).arg(to);
    };
}

Check oneOf(std::initializer_list<const char16_t*> words) {
    QStringList known;
    for (const char16_t* word : words)
        known.append(QString::fromUtf16(word));
    return [known](const QJsonValue& value) {
        return value.isString() && known.contains(value.toString()) ? QString()
                                                                    : u"one of %1"_s.arg(known.join(u", "_s));
    };
}

Check absent() {
    return [](const QJsonValue& value) { return value.isNull() ? QString() : u"null"_s; };
}

Check nullOr(Check check) {
    return [check = std::move(check)](const QJsonValue& value) {
        if (value.isNull())
            return QString();
        const QString expected = check(value);
        return expected.isEmpty() ? expected : expected + u", or null"_s;
    };
}

QJsonObject objectFrom(const std::string& bytes) {
    QJsonParseError error;
    const auto document = QJsonDocument::fromJson(QByteArray::fromStdString(bytes), &error);
    if (error.error != QJsonParseError::NoError)
        throw Refusal{400, u"The body is not JSON: %1."_s.arg(error.errorString())};
    if (!document.isObject())
        throw Refusal{400, u"The body must be a JSON object."_s};
    return document.object();
}

QString faultIn(const QJsonObject& object, const std::vector<Field>& fields) {
    QStringList known;
    for (const Field& field : fields) {
        known.append(field.key);
        if (!object.contains(field.key)) {
            if (field.required)
                return u"%1 is missing"_s.arg(field.key);
            continue;
        }
        const QString expected = field.check(object.value(field.key));
        if (!expected.isEmpty())
            return u"%1 must be %2"_s.arg(field.key, expected);
    }
    for (const QString& key : object.keys())
        if (!known.contains(key))
            return u"%1 is not a key of this request"_s.arg(key);
    return {};
}

void demand(const QJsonObject& object, const std::vector<Field>& fields, const QString& where) {
    const QString fault = faultIn(object, fields);
    if (!fault.isEmpty())
        throw Refusal{422, where + fault + QLatin1Char('.')};
}

bool isUuid(const QString& value) {
    static const QRegularExpression form(uR"(\A[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\z)"_s);
    return matches(form, value);
}

std::optional<QDate> dayFrom(const QString& value) {
    static const QRegularExpression form(uR"(\A\d{4}-\d\d-\d\d\z)"_s);
    const QDate date = QDate::fromString(value, Qt::ISODate);
    if (!matches(form, value) || !date.isValid())
        return std::nullopt;
    return date;
}

qint64 secondsFrom(const QJsonValue& value) {
    return QDateTime::fromString(value.toString(), Qt::ISODate).toSecsSinceEpoch();
}

} // namespace backend
