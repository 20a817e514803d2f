#include "server/APIEndpoints.h"

#include "platform/ApplicationInfo.h"
#include "platform/Log.h"
#include "server/APIError.h"
#include "storage/DomainStorage.h"

#include <arpa/inet.h>

using namespace Qt::StringLiterals;

namespace {

/// Appends a slash to the path of a base URL, without which relative paths would replace its last part.
QUrl endingInSlash(QUrl url) {
    const QString path = url.path(QUrl::FullyEncoded);
    if (!path.endsWith(u'/'))
        url.setPath(path + u'/', QUrl::StrictMode);
    return url;
}

/// Trims double quotes and restores the slash that a build variable loses, since "//" starts a comment there.
QString normalizeBaseURLString(QString text) {
    while (text.startsWith(u'"'))
        text.remove(0, 1);
    while (text.endsWith(u'"'))
        text.chop(1);
    const QString oneSlash = u"https:/"_s;
    const QString twoSlashes = u"https://"_s;
    if (text.startsWith(oneSlash) && !text.startsWith(twoSlashes))
        text.replace(0, oneSlash.size(), twoSlashes);
    return text;
}

/// True if a path would leave the API root and take the token with it: paths contain ids from outside. The decoded
/// form is checked too, because a server may decode a path before it resolves it.
bool isBelow(const QUrl& root, const QUrl& url) {
    return url.isValid() && url.scheme() == root.scheme() && url.authority() == root.authority() &&
           url.path(QUrl::FullyEncoded).startsWith(root.path(QUrl::FullyEncoded)) &&
           !url.path(QUrl::FullyDecoded).split(u'/').contains(u".."_s);
}

bool isLoopback(const QString& host) {
    const QByteArray text = host.toLatin1();
    in_addr v4;
    in6_addr v6;
    if (inet_pton(AF_INET, text.constData(), &v4) == 1)
        return ntohl(v4.s_addr) >> 24 == IN_LOOPBACKNET;
    if (inet_pton(AF_INET6, text.constData(), &v6) == 1)
        return IN6_IS_ADDR_LOOPBACK(&v6);
    return host == u"localhost"_s;
}

} // namespace

APIEndpoints::APIEndpoints(const DomainStorage& domain, const ApplicationInfo& information)
    : domain_(domain)
    , bundleDefault_(bundleDefault(information.information(u"APIBaseURL"_s))) {}

QUrl APIEndpoints::baseURL() const {
    std::optional<QUrl> selected = domain_.getBaseURL();
    if (!selected)
        selected = bundleDefault_;
    return endingInSlash(selected.value_or(fallbackURL()));
}

QString APIEndpoints::origin() const {
    return baseURL().toString(QUrl::FullyEncoded) + u'\n' + domain_.domainKey();
}

QUrl APIEndpoints::url(const QString& path) const {
    const QUrl root = baseURL();
    const QUrl relative(path, QUrl::StrictMode);
    const QUrl resolved = root.resolved(relative);
    if (!relative.isValid() || !isBelow(root, resolved))
        throw APIError::invalidURL();
    if (!isSecure(resolved))
        throw insecure(resolved);
    return resolved;
}

bool APIEndpoints::isSecure(const QUrl& url) {
    return url.scheme() == u"https"_s || isLoopback(url.host());
}

URLError APIEndpoints::insecure(const QUrl& url) {
    const URLError failure(URLError::Code::insecureConnection,
                           u"Nothing is sent to %1: its address is not https."_s.arg(url.host()));
    qCCritical(Log::upload, "%s", failure.what());
    return failure;
}

std::optional<QUrl> APIEndpoints::bundleDefault(const std::optional<QString>& information) {
    // "$(" is a build variable that was not expanded.
    if (!information || information->startsWith(u"$("_s))
        return std::nullopt;
    const QString text = normalizeBaseURLString(*information);
    const QUrl url(text, QUrl::StrictMode);
    const bool isUsable = text.startsWith(u"https:"_s) && url.isValid() && !url.host().isEmpty();
    return isUsable ? std::optional(url) : std::nullopt;
}

QUrl APIEndpoints::fallbackURL() {
    return QUrl(u"https://api.velmora.example/api/v1/"_s);
}
