#pragma once

#include <QString>
#include <QTimeZone>
#include <optional>

class ApplicationInfo;
class Clock;
class PreferenceStore;
struct RemoteConfig;

/// Which time zone all dates of the company are computed in. No state of its own; any thread.
class APITimeZoneResolver {
public:
    APITimeZoneResolver(PreferenceStore& preferences, const Clock& clock)
        : preferences_(preferences)
        , clock_(clock) {}

    /// The configuration's zone if it names a known one, else the system's; as an IANA identifier.
    QString timezoneIdentifierForAPI(const RemoteConfig* config) const;
    QTimeZone resolvedTimeZone(const std::optional<QString>& identifier) const;

    /// The stored identifier, else the system's.
    QString storedTimezoneIdentifier() const;
    /// The zone of the stored identifier; the system's when that names none.
    QTimeZone storedTimeZone() const;
    void store(const QString& identifier);

private:
    PreferenceStore& preferences_;
    const Clock& clock_;
};
