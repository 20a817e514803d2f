#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>
#include <mutex>
#include <optional>

class PreferenceStore;

/// The company that the user works in, the user, and the domain key derived from both, which partitions all local
/// data: what is stored for one key is only ever sent with that user's sign-in to that company. Has no state of its
/// own; any thread. All readers and writers of these preferences share one object.
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
    /// The keys under which earlier versions, and sign-ins with an unknown user, stored data of the current company.
    /// Empty if the company or the user is unknown.
    QStringList unownedDomainKeys() const;

    /// Completes a company's endpoint to an API root: adds a missing scheme and the path "/api/v1/". Absent for a
    /// blank text or one that is no URL.
    static std::optional<QUrl> buildBaseURL(const QString& endpoint);

private:
    PreferenceStore& preferences_;
    /// Makes address and user one value: a reader never gets one without the other.
    mutable std::mutex owner_;
};
