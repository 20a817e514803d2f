#pragma once

#include "model/AuthTokens.h"

#include <QString>
#include <optional>
#include <vector>

class PreferenceStore;
class Random;

/// One small store for each preference. They cache nothing. Any thread.

namespace PreferenceKey {
inline constexpr auto apiBaseURL = "com.velmora.timetracker.apiBaseURL";
inline constexpr auto deviceId = "com.velmora.timetracker.device_id";
inline constexpr auto userEmail = "com.velmora.timetracker.userEmail";
inline constexpr auto userName = "com.velmora.timetracker.userName";
inline constexpr auto companyName = "com.velmora.timetracker.companyName";
inline constexpr auto apiTimezoneIdentifier = "com.velmora.timetracker.apiTimezoneIdentifier";
inline constexpr auto rememberLoginEmailEnabled = "rememberLoginEmailEnabled";
inline constexpr auto rememberedLoginEmail = "rememberedLoginEmail";
inline constexpr auto lastSelectedCompanyEndpoint = "lastSelectedCompanyEndpoint";
inline constexpr auto dailyTargetSeconds = "dailyTargetSeconds";
inline constexpr auto screenRecordingPermissionLost = "screenRecordingPermissionLost";
} // namespace PreferenceKey

/// The installation's identifier, an upper-case UUID created at the first read and never changed.
namespace DeviceIdProvider {
QString current(PreferenceStore& preferences, Random& random);
}

namespace RememberedLoginStorage {
/// True by default.
bool isEnabled(const PreferenceStore& preferences);
/// Trimmed; absent when not enabled, missing or blank.
std::optional<QString> savedEmail(const PreferenceStore& preferences);
/// Stores the e-mail trimmed, even if empty; stores nothing if not enabled.
void save(const QString& email, PreferenceStore& preferences);
} // namespace RememberedLoginStorage

namespace LastCompanyStorage {
/// The endpoint's text as the server sent it; absent when missing or empty.
std::optional<QString> lastEndpoint(const PreferenceStore& preferences);
} // namespace LastCompanyStorage

/// The user's daily work target in seconds, 1 to 86400; 28800 if none is stored or the stored value is unusable.
namespace DailyTargetStorage {
int seconds(const PreferenceStore& preferences);
/// Hours are clamped to 0…24, minutes to 0…59, the sum to 86400; a sum of 0 is stored as 28800.
void set(int hours, int minutes, PreferenceStore& preferences);
} // namespace DailyTargetStorage

namespace UserProfileStorage {
/// Absent removes.
void set(const std::optional<QString>& userName, const std::optional<QString>& companyName,
         PreferenceStore& preferences);
} // namespace UserProfileStorage

namespace CompanyListOrder {
struct Ordered {
    std::vector<LoginCompany> companies;
    std::optional<QString> recentEndpoint;
};
/// Sorted by name, case-insensitively in the user's locale; the first company with `lastEndpoint` comes first.
Ordered ordered(std::vector<LoginCompany> companies, const std::optional<QString>& lastEndpoint);
} // namespace CompanyListOrder
