#pragma once

#include <QString>
#include <QUrl>
#include <optional>

class PreferenceStore;

/// The API root URL of the company that the user works in, and the domain key derived from it, which
/// partitions all local data by company. Holds no state of its own; any thread.
class DomainStorage {
public:
    explicit DomainStorage(PreferenceStore& preferences)
        : preferences_(preferences) {}

    std::optional<QUrl> getBaseURL() const;
    /// Absent removes the stored URL.
    void setBaseURL(const std::optional<QUrl>& url);

    /// True when a company is signed in: a base URL with a host is stored.
    bool hasCompany() const;
    /// The base URL's host as the URL gives it, in the lower case of every QUrl; "global" without one.
    QString domainKey() const;

    /// Makes an API root of whatever the backend names a company's endpoint: adds a missing scheme and the
    /// path "/api/v1/". Absent for blanks or a text that is no URL.
    static std::optional<QUrl> buildBaseURL(const QString& endpoint);

private:
    PreferenceStore& preferences_;
};
