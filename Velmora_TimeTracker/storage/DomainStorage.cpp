#include "DomainStorage.h"

#include "PreferenceStore.h"
#include "PreferenceStores.h"

namespace {

std::optional<QUrl> parsedUrl(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    return url.isValid() ? std::optional(url) : std::nullopt;
}

} // namespace

std::optional<QUrl> DomainStorage::getBaseURL() const {
    const QString text = preferences_.string(PreferenceKey::apiBaseURL).value_or(QString());
    return text.isEmpty() ? std::nullopt : parsedUrl(text);
}

void DomainStorage::setBaseURL(const std::optional<QUrl>& url) {
    if (url) {
        preferences_.set(PreferenceKey::apiBaseURL, url->toString(QUrl::FullyEncoded));
    } else {
        preferences_.remove(PreferenceKey::apiBaseURL);
    }
}

bool DomainStorage::hasCompany() const {
    return !getBaseURL().value_or(QUrl()).host().isEmpty();
}

QString DomainStorage::domainKey() const {
    const QString host = getBaseURL().value_or(QUrl()).host();
    return host.isEmpty() ? QStringLiteral("global") : host;
}

std::optional<QUrl> DomainStorage::buildBaseURL(const QString& endpoint) {
    QString text = endpoint.trimmed();
    if (text.isEmpty()) {
        return std::nullopt;
    }
    const bool hasScheme =
        text.startsWith(u"http://", Qt::CaseInsensitive) || text.startsWith(u"https://", Qt::CaseInsensitive);
    if (!hasScheme) {
        text.prepend(u"https://");
    }
    if (text.endsWith(u'/')) {
        text.chop(1);
    }
    if (!text.endsWith(u"/api/v1") && !text.endsWith(u"/api/v1/")) {
        text.append(u"/api/v1");
    }
    const auto url = parsedUrl(text);
    if (!url) {
        return std::nullopt;
    }
    // Relative paths resolve below a root that ends in a slash only.
    const QString absolute = url->toString(QUrl::FullyEncoded);
    return absolute.endsWith(u'/') ? url : parsedUrl(absolute + u'/');
}
