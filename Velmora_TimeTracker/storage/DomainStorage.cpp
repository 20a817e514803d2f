#include "storage/DomainStorage.h"

#include "platform/PreferenceStore.h"
#include "storage/PreferenceStores.h"

using namespace Qt::StringLiterals;

namespace {

const QString apiPath = u"/api/v1"_s;

std::optional<QUrl> parsedUrl(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    return url.isValid() ? std::optional(url) : std::nullopt;
}

/// The address without user information, scheme and "/api/v1".
QString companyOf(const QUrl& url) {
    QString path = url.path(QUrl::FullyEncoded);
    for (const QString& end : {u"/"_s, apiPath})
        if (path.endsWith(end))
            path.chop(end.size());
    return url.adjusted(QUrl::RemoveUserInfo).authority() + path;
}

} // namespace

std::optional<QUrl> DomainStorage::getBaseURL() const {
    const QString text = preferences_.string(PreferenceKey::apiBaseURL).value_or(QString());
    return text.isEmpty() ? std::nullopt : parsedUrl(text);
}

void DomainStorage::setBaseURL(const std::optional<QUrl>& url) {
    const std::lock_guard guard(owner_);
    if (url) {
        preferences_.set(PreferenceKey::apiBaseURL, url->toString(QUrl::FullyEncoded));
    } else {
        preferences_.remove(PreferenceKey::apiBaseURL);
        preferences_.remove(PreferenceKey::userEmail);
    }
}

void DomainStorage::setUser(const QString& email) {
    preferences_.set(PreferenceKey::userEmail, email.trimmed().toLower());
}

bool DomainStorage::hasUser() const {
    return !preferences_.string(PreferenceKey::userEmail).value_or(QString()).isEmpty();
}

bool DomainStorage::hasCompany() const {
    return !getBaseURL().value_or(QUrl()).host().isEmpty();
}

QString DomainStorage::domainKey() const {
    const std::lock_guard guard(owner_);
    const QUrl url = getBaseURL().value_or(QUrl());
    if (url.host().isEmpty())
        return u"global"_s;
    const QString user = preferences_.string(PreferenceKey::userEmail).value_or(QString());
    return user.isEmpty() ? companyOf(url) : companyOf(url) + u' ' + user;
}

QStringList DomainStorage::unownedDomainKeys() const {
    if (!hasCompany() || !hasUser())
        return {};
    const QUrl url = getBaseURL().value_or(QUrl());
    QStringList keys{companyOf(url), url.host()}; // earlier versions used the host only
    keys.removeDuplicates();
    return keys;
}

std::optional<QUrl> DomainStorage::buildBaseURL(const QString& endpoint) {
    QString text = endpoint.trimmed();
    if (text.isEmpty())
        return std::nullopt;
    const bool hasScheme =
        text.startsWith(u"http://", Qt::CaseInsensitive) || text.startsWith(u"https://", Qt::CaseInsensitive);
    if (!hasScheme)
        text.prepend(u"https://");
    if (text.endsWith(u'/'))
        text.chop(1);
    if (!text.endsWith(apiPath) && !text.endsWith(apiPath + u'/'))
        text.append(apiPath);
    const auto url = parsedUrl(text);
    if (!url)
        return std::nullopt;
    // Relative paths resolve below a root only if it ends in a slash.
    const QString absolute = url->toString(QUrl::FullyEncoded);
    return absolute.endsWith(u'/') ? url : parsedUrl(absolute + u'/');
}
