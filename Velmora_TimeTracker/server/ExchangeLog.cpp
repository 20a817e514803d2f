#include "server/ExchangeLog.h"

#include "model/Json.h"
#include "platform/Log.h"
#include "server/LogRedactor.h"

#include <QJsonDocument>
#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace {

constexpr int maxCharsOfLine = 2000;
constexpr int maxCharsOfEntry = 6000;
constexpr int maxCharsOfErrorText = 500;

QString pathOf(const URLRequest& request) {
    return request.url.path(QUrl::FullyEncoded);
}

bool isSuccess(int status) {
    return status >= 200 && status <= 299;
}

/// The first lines of each entry. Omits user information, since the base URL comes from the server and may contain a
/// password.
QString addressLines(const URLRequest& request) {
    return u"URL: "_s + request.url.toString(QUrl::FullyEncoded | QUrl::RemovePassword) + u"\nMethod: "_s +
           QString::fromUtf8(request.method);
}

QString payloadLines(const QString& heading, const std::optional<QByteArray>& payload) {
    return u'\n' + heading + u'\n' + LogRedactor::stringifyJSONorText(payload, maxCharsOfEntry);
}

QString requestLines(const URLRequest& request) {
    return payloadLines(u"Request payload:"_s, request.body.isEmpty() ? std::nullopt : std::optional(request.body));
}

/// The message of an error body, else its list of errors, else its text.
QString errorText(const QByteArray& body) {
    const auto reply = Json::object(body);
    if (const auto message = reply ? Json::string(*reply, "message") : std::nullopt)
        return LogRedactor::redact(*message);
    const QJsonValue errors = reply ? reply->value("errors") : QJsonValue();
    if (errors.isArray() || errors.isObject())
        return LogRedactor::stringifyJSONorText(
            QJsonDocument::fromVariant(errors.toVariant()).toJson(QJsonDocument::Compact), maxCharsOfLine);
    if (!errors.isNull() && !errors.isUndefined())
        return LogRedactor::redact(errors.toVariant().toString());
    QStringDecoder decode(QStringDecoder::Utf8);
    const QString text = decode(body);
    if (!decode.hasError() && text.size() <= maxCharsOfErrorText)
        return LogRedactor::redact(text);
    return LogRedactor::stringifyJSONorText(body, maxCharsOfLine);
}

} // namespace

void ExchangeLog::logRequest(const URLRequest& request) {
    const QByteArray path = pathOf(request).toUtf8();
    if (request.body.isEmpty() || !request.header("Content-Type").contains("application/json"))
        qCInfo(Log::upload, "API request: %s %s", request.method.constData(), path.constData());
    else
        qCInfo(Log::upload, "API request: %s %s\nPayload: %s", request.method.constData(), path.constData(),
               qUtf8Printable(LogRedactor::stringifyJSONorText(request.body, maxCharsOfLine)));
}

ExchangeLog::Entry ExchangeLog::entry(const URLRequest& request, const URLSession::Result& result) {
    const QString title = QString::fromUtf8(request.method) + u" -> "_s + pathOf(request) + u" • "_s;
    if (const auto* failure = std::get_if<URLError>(&result))
        return {title + u"no HTTP response"_s,
                addressLines(request) + requestLines(request) + u"\nError:\n"_s + failure->localizedDescription(),
                true};
    const auto& response = std::get<URLResponse>(result);
    const int status = response.statusCode.value_or(-1);
    return {title + QString::number(status),
            addressLines(request) + u"\nStatusCode: %1"_s.arg(status) + requestLines(request) +
                payloadLines(u"Response payload:"_s, response.body),
            !isSuccess(status)};
}

void ExchangeLog::logOutcome(const URLRequest& request, const URLSession::Result& result) {
    const QByteArray path = pathOf(request).toUtf8();
    if (const auto* failure = std::get_if<URLError>(&result)) {
        qCCritical(Log::upload, "API request failed: %s %s - %s", request.method.constData(), path.constData(),
                   qUtf8Printable(failure->localizedDescription()));
        return;
    }
    const auto& response = std::get<URLResponse>(result);
    const int status = response.statusCode.value_or(-1);
    qCInfo(Log::upload, "API response: %s %s -> %d", request.method.constData(), path.constData(), status);
    if (!isSuccess(status) && !response.body.isEmpty())
        qCCritical(Log::upload, "API error %d %s: %s", status, path.constData(),
                   qUtf8Printable(errorText(response.body)));
}
