#include "platform/linux/base/LinuxApplicationInfo.h"

#include "BuildInformation.h"

#include <QHash>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

std::optional<QString> LinuxApplicationInfo::information(const QString& key) const {
    const QHash<QString, QString> compiledIn{
        {"APIBaseURL", BuildInformation::apiBaseURL},
        {"CFBundleShortVersionString", BuildInformation::version},
        {"CFBundleVersion", BuildInformation::build},
        {"CFBundleName", BuildInformation::name},
    };
    const QString value = compiledIn.value(key);
    return value.isEmpty() ? std::nullopt : std::optional(value);
}

QString LinuxApplicationInfo::applicationSupportDirectory() const {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
}

QString LinuxApplicationInfo::configurationFolder() const {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/velmora-timetracker";
}

QString LinuxApplicationInfo::userAgent() {
    return u"%1/%2"_s.arg(BuildInformation::name, BuildInformation::version);
}
