#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <functional>
#include <initializer_list>
#include <optional>
#include <vector>

namespace backend {

/// What a body must look like, told as a table of keys and checks. A check returns what it expected, or an
/// empty text when the value is right.
using Check = std::function<QString(const QJsonValue&)>;

struct Field {
    QString key;
    Check check;
    bool required = true;
};

Check text();
Check filledText();
Check uuid();     ///< canonical, upper case
Check dateTime(); ///< ISO 8601 with seconds and an offset (numeric, or Z for zero), no fraction
Check day();      ///< yyyy-MM-dd, a day that exists
Check timeZone(); ///< a known IANA identifier
Check integer(qint64 from, qint64 to);
Check count(); ///< an integer from 0 on
Check number(double from, double to);
Check oneOf(std::initializer_list<const char16_t*> words);
Check absent(); ///< JSON null
Check nullOr(Check check);

/// Refusal 400 unless the bytes are one JSON object.
QJsonObject objectFrom(const std::string& bytes);
/// What is wrong with the object: a missing, unknown or bad key. Empty when all is right.
QString faultIn(const QJsonObject& object, const std::vector<Field>& fields);
/// Refusal 422 with the fault, if there is one.
void demand(const QJsonObject& object, const std::vector<Field>& fields, const QString& where = {});

bool isUuid(const QString& value);
/// Absent unless the text is a day of the form yyyy-MM-dd.
std::optional<QDate> dayFrom(const QString& value);
/// Unix seconds of a text that passed dateTime().
qint64 secondsFrom(const QJsonValue& value);

} // namespace backend
