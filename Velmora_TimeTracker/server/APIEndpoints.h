#pragma once

#include "platform/URLSession.h"

#include <optional>

class ApplicationInfo;
class DomainStorage;

/// Selects the API root. Any thread.
class APIEndpoints {
public:
    APIEndpoints(const DomainStorage& domain, const ApplicationInfo& information);

    /// The root of the selected company, else the built-in one, else `fallbackURL`. Ends in "/".
    QUrl baseURL() const;

    /// Identifies the API root, company and user of a request made now. A request is repeated with a new token only if
    /// this is unchanged.
    QString origin() const;

    /// `path` (relative, without a leading slash, perhaps with a query) on the base URL. Throws APIError `invalidURL`
    /// if the result is no URL or would leave the API root, and `insecure` if it is not secure.
    QUrl url(const QString& path) const;

    /// https, or plain http that stays on this machine (localhost, 127.0.0.0/8, ::1). Any other address could expose
    /// tokens and passwords.
    static bool isSecure(const QUrl& url);
    /// The error for an insecure address; also logged.
    static URLError insecure(const QUrl& url);

    /// From the "APIBaseURL" information: quotes trimmed, a lost slash after "https:/" restored; https only.
    static std::optional<QUrl> bundleDefault(const std::optional<QString>& information);
    static QUrl fallbackURL();

private:
    const DomainStorage& domain_;
    const std::optional<QUrl> bundleDefault_;
};
