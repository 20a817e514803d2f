#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>
#include <mutex>
#include <optional>

class PreferenceStore;

/// The company that the user works in, the user, and the domain key derived from both, which partitions all
/// local data: what is stored for one key is only ever sent with that user's sign-in to that company. Holds no
/// state of its own; any thread. One object for all readers and writers of the preferences.
class DomainStorage {
public:
    explicit DomainStorage(PreferenceStore& preferences)
        : preferences_(preferences) {}

    std::optional<QUrl> getBaseURL() const;
    /// Absent removes the stored URL and the user.
    void setBaseURL(const std::optional<QUrl>& url);
    /// The e-mail that the user signs in with; letter case and surrounding blanks do not matter.
    void setUser(const QString& email);
    bool hasUser() const;

    /// True when a company is signed in: a base URL with a host is stored.
    bool hasCompany() const;
    /// The company's address and, behind a blank, the user: "acme.example:8443/hr jane@acme.example". The
    /// address has a port when the base URL names one, and a path beside "/api/v1". "global" without a
    /// company.
    QString domainKey() const;
    /// Under which keys data of the present company lies that names no user: that of earlier versions, and of
    /// a sign-in whose user was not known. Empty while no user is known, and without a company.
    QStringList unownedDomainKeys() const;

    /// Makes an API root of whatever the backend names a company's endpoint: adds a missing scheme and the
    /// path "/api/v1/". Absent for blanks or a text that is no URL.
    static std::optional<QUrl> buildBaseURL(const QString& endpoint);

private:
    PreferenceStore& preferences_;
    /// Guards the two preferences, which are one: a reader gets no address without its user.
    mutable std::mutex owner_;
};
