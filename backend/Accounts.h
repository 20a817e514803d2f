#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <map>
#include <vector>

namespace backend {

struct Company {
    QString key;  ///< its part of the path: /c/<key>/api/v1
    QString name; ///< as shown to its people
    QString host; ///< host name that its endpoint is told with; empty takes the one that the request used
    QJsonObject config;

    /// The zone of "app_timezone", UTC when that is absent or unknown.
    QTimeZone zone() const;
    QString projectName(const QString& projectId) const;
};

struct Account {
    QString email;
    QString password;
    QString name;
    bool needsOneTimeCode = false;
    bool tellsEndpoint = true;      ///< a sign-in to the only company names its endpoint under "init"
    bool flatTokens = false;        ///< tokens stand flat in the reply's data instead of in a further data object
    std::vector<QString> companies; ///< keys, never empty; the first one serves the path without a company
};

/// Who may sign in, where, and with which configuration. Read from one JSON file; changes made while running
/// last until the process ends.
class Accounts {
public:
    /// Throws std::runtime_error that names what is wrong with the text.
    static Accounts fromJson(const QByteArray& json);

    const Account* find(const QString& email) const;
    const std::vector<Account>& all() const { return accounts; }
    Company& company(const QString& key) { return companies.at(key); }
    bool hasCompany(const QString& key) const { return companies.contains(key); }

    /// Merges changes: the server's own keys are set on the server, all others in the configuration of the
    /// company named by "company", or of every company. A null removes the key.
    void merge(const QJsonObject& changes);

    qint64 accessTokenSeconds = 3600;
    qint64 refreshTokenSeconds = 2592000;
    /// A session started on one device displaces the account's running sessions on other devices.
    bool oneDevicePerAccount = true;

private:
    bool setOwn(const QString& key, const QJsonValue& value);

    std::map<QString, Company> companies;
    std::vector<Account> accounts;
};

} // namespace backend
