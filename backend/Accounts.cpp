#include "backend/Accounts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace backend {

namespace {

[[noreturn]] void fail(const QString& reason) {
    throw std::runtime_error("configuration: " + reason.toStdString());
}

Company readCompany(const QString& key, const QJsonObject& json) {
    static const QRegularExpression pathPart(u"^[a-z0-9-]+$"_s);
    if (!pathPart.match(key).hasMatch())
        fail(u"the company key \"%1\" needs lower-case letters, digits and hyphens"_s.arg(key));
    return {.key = key,
            .name = json.value(u"name").toString(key),
            .host = json.value(u"host").toString(),
            .config = json.value(u"config").toObject()};
}

Account readAccount(const QJsonObject& json) {
    Account account{.email = json.value(u"email").toString(),
                    .password = json.value(u"password").toString(),
                    .name = json.value(u"name").toString(),
                    .needsOneTimeCode = json.value(u"one_time_code").toBool(),
                    .tellsEndpoint = json.value(u"tells_endpoint").toBool(true),
                    .flatTokens = json.value(u"flat_tokens").toBool(),
                    .companies = {}};
    if (account.email.isEmpty() || account.password.isEmpty())
        fail(u"every account needs an \"email\" and a \"password\""_s);
    const QJsonArray keys = json.value(u"companies").toArray();
    for (const QJsonValue& key : keys)
        account.companies.push_back(key.toString());
    if (account.companies.empty())
        fail(u"the account %1 belongs to no company"_s.arg(account.email));
    return account;
}

} // namespace

QTimeZone Company::zone() const {
    const QTimeZone named(config.value(u"app_timezone").toString().toUtf8());
    return named.isValid() ? named : QTimeZone::utc();
}

QString Company::projectName(const QString& projectId) const {
    const QJsonArray projects = config.value(u"projects").toArray();
    for (const QJsonValue& project : projects)
        if (project[u"project_id"].toString() == projectId)
            return project[u"project_name"].toString();
    return projectId;
}

Accounts Accounts::fromJson(const QByteArray& json) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (!document.isObject())
        fail(error.error ? error.errorString() : u"not a JSON object"_s);
    Accounts result;
    const QJsonObject companies = document[u"companies"].toObject();
    for (auto entry = companies.begin(); entry != companies.end(); ++entry)
        result.companies.emplace(entry.key(), readCompany(entry.key(), entry.value().toObject()));
    const QJsonArray accounts = document[u"accounts"].toArray();
    for (const QJsonValue& account : accounts)
        result.accounts.push_back(readAccount(account.toObject()));
    for (const Account& account : result.accounts) {
        for (const QString& key : account.companies)
            if (!result.hasCompany(key))
                fail(u"%1 names the unknown company \"%2\""_s.arg(account.email, key));
    }
    const QJsonObject server = document[u"server"].toObject();
    for (auto entry = server.begin(); entry != server.end(); ++entry)
        if (!result.setOwn(entry.key(), entry.value()))
            fail(u"the server has no setting \"%1\""_s.arg(entry.key()));
    return result;
}

const Account* Accounts::find(const QString& email) const {
    for (const Account& account : accounts)
        if (account.email.compare(email, Qt::CaseInsensitive) == 0)
            return &account;
    return nullptr;
}

void Accounts::merge(const QJsonObject& changes) {
    const QString only = changes.value(u"company").toString();
    for (auto change = changes.begin(); change != changes.end(); ++change) {
        if (change.key() == u"company" || setOwn(change.key(), change.value()))
            continue;
        for (auto& [key, company] : companies) {
            if (!only.isEmpty() && key != only)
                continue;
            if (change.value().isNull())
                company.config.remove(change.key());
            else
                company.config.insert(change.key(), change.value());
        }
    }
}

bool Accounts::setOwn(const QString& key, const QJsonValue& value) {
    if (key == u"access_token_seconds")
        accessTokenSeconds = value.toInteger(accessTokenSeconds);
    else if (key == u"refresh_token_seconds")
        refreshTokenSeconds = value.toInteger(refreshTokenSeconds);
    else if (key == u"one_device_per_account")
        oneDevicePerAccount = value.toBool(oneDevicePerAccount);
    else
        return false;
    return true;
}

} // namespace backend
