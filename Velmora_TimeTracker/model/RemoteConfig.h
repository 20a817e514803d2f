#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

struct RemoteProject {
    QString id;
    QString name;

    friend bool operator==(const RemoteProject&, const RemoteProject&) = default;
};

/// The remote configuration. Values are not range-checked here: each consumer applies its own limits.
struct RemoteConfig {
    QString deviceId;
    std::vector<RemoteProject> projects;
    qint64 screenshotIntervalMinutes = 0;
    qint64 idleMinutesThreshold = 0;
    bool discardIdleTime = false;
    std::optional<qint64> uploadBatchSize;
    std::optional<QString> idleAction;
    std::optional<QString> name;
    std::optional<QString> companyName;
    std::optional<QString> latestClientVersion;
    std::optional<QString> clientDownloadURL;
    std::optional<QString> appTimezone; ///< An IANA identifier.
    std::optional<qint64> todayTotalSeconds;
    std::optional<QString> todayDate; ///< "yyyy-MM-dd" in that zone.

    friend bool operator==(const RemoteConfig&, const RemoteConfig&) = default;
};

/// The bare record, as in the cache file. Absent when a required key is missing or a value has another type.
std::optional<RemoteConfig> decodeRemoteConfig(const QByteArray& encoded);
/// The record inside its wrapper {"data": …}, as the server sends it.
std::optional<RemoteConfig> decodeConfigResponse(const QByteArray& reply);
QByteArray encodeRemoteConfig(const RemoteConfig& config);
