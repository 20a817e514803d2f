#pragma once

#include <QString>
#include <QUrl>
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

    /// `path` (relative, without a leading slash, perhaps with a query) on the base URL. Absent when that is
    /// no URL or would leave the API root's host.
    std::optional<QUrl> url(const QString& path) const;

    /// From the "APIBaseURL" information: quotes trimmed, a lost slash behind "https:/" mended; https only.
    static std::optional<QUrl> bundleDefault(const std::optional<QString>& information);
    static QUrl fallbackURL();

private:
    const DomainStorage& domain_;
    const std::optional<QUrl> bundleDefault_;
};
