#include "storage/APITimeZoneResolver.h"

#include "model/RemoteConfig.h"
#include "platform/Clock.h"
#include "platform/PreferenceStore.h"
#include "storage/PreferenceStores.h"

namespace {

/// Absent unless the machine's database knows the identifier; the test comes first because a QTimeZone also
/// accepts rules and file names.
std::optional<QTimeZone> knownTimeZone(const std::optional<QString>& identifier) {
    const QByteArray id = identifier.value_or(QString()).trimmed().toUtf8();
    if (id.isEmpty() || !QTimeZone::isTimeZoneIdAvailable(id))
        return std::nullopt;
    const QTimeZone zone(id);
    return zone.isValid() ? std::optional(zone) : std::nullopt;
}

} // namespace

QString APITimeZoneResolver::timezoneIdentifierForAPI(const RemoteConfig* config) const {
    return QString::fromUtf8(resolvedTimeZone(config ? config->appTimezone : std::nullopt).id());
}

QTimeZone APITimeZoneResolver::resolvedTimeZone(const std::optional<QString>& identifier) const {
    const auto known = knownTimeZone(identifier);
    return known ? *known : clock_.systemTimeZone();
}

QString APITimeZoneResolver::storedTimezoneIdentifier() const {
    const QString stored = preferences_.string(PreferenceKey::apiTimezoneIdentifier).value_or(QString());
    return stored.isEmpty() ? QString::fromUtf8(clock_.systemTimeZone().id()) : stored;
}

QTimeZone APITimeZoneResolver::storedTimeZone() const {
    return resolvedTimeZone(storedTimezoneIdentifier());
}

void APITimeZoneResolver::store(const QString& identifier) {
    preferences_.set(PreferenceKey::apiTimezoneIdentifier, identifier);
}
