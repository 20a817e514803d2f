#include "model/ISO8601.h"

#include <QRegularExpression>

#include <cmath>
#include <cstdlib>

namespace ISO8601 {

namespace {

/// The instant's second in local time, and the zone's offset in whole minutes. Historic offsets with seconds do not
/// fit the text: the seconds are dropped from both, so that the text still denotes the same instant.
struct LocalTime {
    QDateTime dateTime; ///< Local time, marked as UTC.
    int offsetMinutes = 0;
};

std::optional<LocalTime> localTime(Date date, const QTimeZone& timeZone) {
    constexpr double maxSeconds = 1e12; // far outside the years that can be written
    const double seconds = std::floor(date.secondsSince1970());
    if (!(std::abs(seconds) < maxSeconds))
        return std::nullopt;
    const QDateTime utc = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(seconds), Qt::UTC);
    const int offsetMinutes = timeZone.offsetFromUtc(utc) / 60;
    const QDateTime local = utc.addSecs(offsetMinutes * 60);
    const int year = local.date().year();
    return year >= 1 && year <= 9999 ? std::optional(LocalTime{local, offsetMinutes}) : std::nullopt;
}

QString written(const LocalTime& local, bool isZulu) {
    const QDate date = local.dateTime.date();
    const QTime time = local.dateTime.time();
    const QString dateTime = QString::asprintf("%04d-%02d-%02dT%02d:%02d:%02d", date.year(), date.month(), date.day(),
                                               time.hour(), time.minute(), time.second());
    if (isZulu)
        return dateTime + u'Z';
    const int minutes = std::abs(local.offsetMinutes);
    return dateTime + QString::asprintf("%c%02d:%02d", local.offsetMinutes < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

/// `fraction` is the pattern of the text between the seconds and the offset.
QRegularExpression pattern(const QString& fraction) {
    return QRegularExpression(QRegularExpression::anchoredPattern(R"((\d{4})-(\d{2})-(\d{2})T(\d{2}):(\d{2}):(\d{2}))" +
                                                                  fraction + R"((?:Z|([+-])(\d{2}):?(\d{2})))"));
}

std::optional<Date> read(const QRegularExpressionMatch& match) {
    const auto number = [&match](int group) { return match.captured(group).toInt(); };
    const QDate date(number(1), number(2), number(3));
    const QTime time(number(4), number(5), number(6));
    const double fraction = ("0" + match.captured(7)).toDouble();
    const int offsetHours = number(9);
    const int offsetMinutes = number(10);
    if (!match.hasMatch() || !date.isValid() || !time.isValid() || offsetHours > 23 || offsetMinutes > 59)
        return std::nullopt;
    const int offset = (offsetHours * 60 + offsetMinutes) * 60 * (match.captured(8) == u'-' ? -1 : 1);
    const qint64 wholeSeconds = QDateTime(date, time, Qt::UTC).toSecsSinceEpoch() - offset;
    return Date::since1970(static_cast<double>(wholeSeconds)) + fraction;
}

} // namespace

QString wireText(Date date, const QTimeZone& timeZone) {
    const auto local = localTime(date, timeZone);
    return local ? written(*local, false) : QString();
}

QString text(Date date, const QTimeZone& timeZone) {
    const auto local = localTime(date, timeZone);
    return local ? written(*local, local->offsetMinutes == 0) : QString();
}

std::optional<Date> parse(const QString& text) {
    static const QRegularExpression withoutFraction = pattern("()");
    return read(withoutFraction.match(text));
}

std::optional<Date> parseWithFraction(const QString& text) {
    static const QRegularExpression withFraction = pattern(R"((\.\d+))");
    return read(withFraction.match(text));
}

} // namespace ISO8601
