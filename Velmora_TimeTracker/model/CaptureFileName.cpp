#include "model/CaptureFileName.h"

#include "model/ISO8601.h"
#include "model/Session.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

const QString ending = u".jpg"_s;

QString prefixOf(const QUuid& sessionId) {
    return uuidText(sessionId) + u'_';
}

/// Reads "20250314T093000+0700".
std::optional<Date> parseCompactTimestamp(const QString& token) {
    static const QRegularExpression form(
        QRegularExpression::anchoredPattern(uR"((\d{4})(\d{2})(\d{2})T(\d{2})(\d{2})(\d{2})(Z|[+-]\d{2}:?\d{2}))"_s));
    const QRegularExpressionMatch match = form.match(token);
    if (!match.hasMatch())
        return std::nullopt;
    return ISO8601::parse(u"%1-%2-%3T%4:%5:%6%7"_s.arg(match.captured(1), match.captured(2), match.captured(3),
                                                       match.captured(4), match.captured(5), match.captured(6),
                                                       match.captured(7)));
}

/// "2025-03-14T09:30:00Z" from "2025-03-14T09-30-00Z"; absent for a token without a time or an offset.
std::optional<QString> restoredISO8601FromFilenameToken(const QString& token) {
    const qsizetype split = token.indexOf(u'T');
    if (split < 0)
        return std::nullopt;
    const QString dateAndT = token.left(split + 1);
    const QString time = token.mid(split + 1);
    if (time.endsWith(u'Z'))
        return dateAndT + time.chopped(1).replace(u'-', u':') + u'Z';

    // In an offset such as +07-00 this finds the "-" between its hours and minutes, so the result is not a date and
    // the file keeps its name, which already has the uploaded form.
    const qsizetype sign = std::max(time.lastIndexOf(u'+'), time.lastIndexOf(u'-'));
    if (sign < 0)
        return std::nullopt;
    QString offset = time.mid(sign);
    if (offset.size() >= 6)
        offset = offset.left(3) + u':' + offset.right(2);
    return dateAndT + time.left(sign).replace(u'-', u':') + offset;
}

std::optional<Date> parseScreenshotTimestamp(const QString& token) {
    if (const auto restored = restoredISO8601FromFilenameToken(token)) {
        if (const auto date = ISO8601::parse(*restored))
            return date;
        if (const auto date = ISO8601::parseWithFraction(*restored))
            return date;
    }
    return parseCompactTimestamp(token);
}

} // namespace

QString CaptureFileName::timestampToken(Date date, const QTimeZone& zone) {
    return ISO8601::text(date, zone).replace(u':', u'-');
}

QString CaptureFileName::format(const QUuid& sessionId, const QString& timestampToken, int displayIndex) {
    return prefixOf(sessionId) + timestampToken + u'_' + QString::number(displayIndex) + ending;
}

bool CaptureFileName::isPicture(const QString& name) {
    return name.endsWith(ending, Qt::CaseInsensitive);
}

bool CaptureFileName::isTemporary(const QString& name) {
    static const QRegularExpression form(u"\\.jpg\\.[A-Za-z0-9]{6}$"_s);
    return form.match(name).hasMatch();
}

bool CaptureFileName::isOfSession(const QString& name, const QUuid& sessionId) {
    return name.startsWith(prefixOf(sessionId));
}

std::optional<QUuid> CaptureFileName::sessionOf(const QString& name) {
    const qsizetype end = name.indexOf(u'_');
    return end < 0 ? std::nullopt : parseUuid(name.left(end));
}

QString CaptureFileName::normalizedScreenshotUploadFileName(const QString& name, const QUuid& sessionId,
                                                            const QTimeZone& apiTimeZone) {
    if (!isOfSession(name, sessionId))
        return name;
    const QString prefix = prefixOf(sessionId);
    const QString rest = QString(name).remove(ending).mid(prefix.size());
    const qsizetype separator = rest.lastIndexOf(u'_');
    if (separator < 0)
        return name;
    const auto taken = parseScreenshotTimestamp(rest.left(separator));
    const QString token = taken ? timestampToken(*taken, apiTimeZone) : QString();
    return token.isEmpty() ? name : prefix + token + rest.mid(separator) + ending;
}
