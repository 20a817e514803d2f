#include "server/LogRedactor.h"

#include <QJsonDocument>
#include <QRegularExpression>
#include <QStringDecoder>
#include <QTextBoundaryFinder>

using namespace Qt::StringLiterals;

namespace {

/// Of a larger payload only the beginning is decoded, redacted and cut, which bounds the cost of logging it.
constexpr qsizetype maxBytesReadWhole = 512 * 1024;
constexpr qsizetype bytesOfBeginning = 64 * 1024;

QRegularExpression compiled(const QString& pattern, QRegularExpression::PatternOptions options) {
    QRegularExpression expression(pattern, options);
    if (!expression.isValid())
        qFatal("LogRedactor: %s", qUtf8Printable(expression.errorString()));
    return expression;
}

/// A quoted sensitive key, a colon and a quoted string with backslash escapes. Possessive quantifiers avoid
/// backtracking, so that a value of megabytes cannot exhaust the matcher. Also matches a value that is cut off by the
/// end of the text.
const QRegularExpression& jsonKeyPattern() {
    static const QStringList sensitiveJSONKeys = {"access_token", "refresh_token", "token",
                                                  "password",     "authorization", "otp",
                                                  "secret",       "api_key",       "client_secret"};
    static const QRegularExpression pattern =
        compiled(R"("()" + sensitiveJSONKeys.join(u'|') + R"re()"\s*:\s*"(?:[^"\\]++|\\.)*+(?:"|\\?\z))re",
                 QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    return pattern;
}

const QRegularExpression& bearerPattern() {
    static const QRegularExpression pattern =
        compiled(R"(Bearer\s+[A-Za-z0-9\-._~+/]+=*)", QRegularExpression::NoPatternOption);
    return pattern;
}

std::optional<QString> utf8Text(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    return decoder.hasError() ? std::nullopt : std::optional(std::move(text));
}

/// The beginning of a large payload, cut between two characters.
QByteArray beginning(const QByteArray& data) {
    qsizetype end = bytesOfBeginning;
    const auto isContinuation = [](char byte) { return (byte & 0xC0) == 0x80; };
    for (int steps = 0; steps < 3 && isContinuation(data.at(end)); ++steps)
        --end;
    return data.first(end);
}

struct Characters {
    qsizetype total = 0;
    qsizetype endOfKept = 0; ///< Where the first `kept` user-perceived characters end, in code units.
};

Characters charactersOf(const QString& text, int kept) {
    Characters characters{0, text.size()};
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    while (finder.toNextBoundary() >= 0)
        if (++characters.total == kept)
            characters.endOfKept = finder.position();
    return characters;
}

QString indentedJSON(const QByteArray& data) {
    const QJsonDocument document = QJsonDocument::fromJson(data);
    return document.isNull() ? QString() : QString::fromUtf8(document.toJson(QJsonDocument::Indented)).trimmed();
}

QString unreadable(const QByteArray& data) {
    return u"Non-UTF8 binary payload (%1 bytes)"_s.arg(data.size());
}

/// The beginning of a payload that exceeds the limit.
QString stringifyBeginning(const QByteArray& data, int maxChars) {
    const auto text = utf8Text(beginning(data));
    if (!text)
        return unreadable(data);
    const QString redacted = LogRedactor::redact(*text);
    return redacted.first(charactersOf(redacted, maxChars).endOfKept) + u"…(%1 bytes total)"_s.arg(data.size());
}

} // namespace

QString LogRedactor::redact(const QString& text) {
    QString redacted = text;
    redacted.replace(jsonKeyPattern(), u"\"\\1\":\"<redacted>\""_s);
    redacted.replace(bearerPattern(), u"Bearer <redacted>"_s);
    return redacted;
}

QString LogRedactor::stringifyJSONorText(const std::optional<QByteArray>& data, int maxChars) {
    if (!data)
        return u"nil"_s;
    if (data->size() > maxBytesReadWhole)
        return stringifyBeginning(*data, maxChars);
    const QString json = indentedJSON(*data);
    const auto text = json.isEmpty() ? utf8Text(*data) : std::optional(json);
    if (!text)
        return unreadable(*data);
    const QString redacted = redact(*text);
    const Characters characters = charactersOf(redacted, maxChars);
    if (characters.total <= maxChars)
        return redacted;
    return redacted.first(characters.endOfKept) + u"…(%1 chars total)"_s.arg(characters.total);
}
