#pragma once

#include "platform/URLSession.h"

#include <optional>

class ApplicationInfo;
class DomainStorage;

/// Which API root is in force. Any thread.
class APIEndpoints {
public:
    APIEndpoints(const DomainStorage& domain, const ApplicationInfo& information);

    /// The selected company's root, else the one compiled into the application, else `fallbackURL`. Ends in
    /// "/".
    QUrl baseURL() const;

    /// Names the API root, the company and the user that a request made now is for. A request is repeated with another
    /// token only while this is unchanged.
    QString origin() const;

    /// `path` (relative, without a leading slash, perhaps with a query) on the base URL. Throws APIError `invalidURL`
    /// when that is no URL or would leave the API root, and `insecure` when it is not secure.
    QUrl url(const QString& path) const;

    /// https, or plain http that stays on this machine (localhost, 127.0.0.0/8, ::1). On any other way tokens and
    /// passwords could be read.
    static bool isSecure(const QUrl& url);
    /// Why nothing is sent there; with a log line.
    static URLError insecure(const QUrl& url);

    /// From the "APIBaseURL" information: quotes trimmed, a lost slash behind "https:/" mended; https only.
    static std::optional<QUrl> bundleDefault(const std::optional<QString>& information);
    static QUrl fallbackURL();

private:
    const DomainStorage& domain_;
    const std::optional<QUrl> bundleDefault_;
};
