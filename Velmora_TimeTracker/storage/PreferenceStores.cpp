#include "storage/PreferenceStores.h"

#include "model/Session.h"
#include "platform/PreferenceStore.h"
#include "platform/Random.h"

#include <QCollator>
#include <algorithm>
#include <mutex>

namespace {

constexpr int defaultTargetSeconds = 28800;
constexpr int secondsPerDay = 86400;

void setOrRemove(const char* key, const std::optional<QString>& value, PreferenceStore& preferences) {
    if (value)
        preferences.set(key, *value);
    else
        preferences.remove(key);
}

} // namespace

QString DeviceIdProvider::current(PreferenceStore& preferences, Random& random) {
    // Read and first write are one step; otherwise two threads could create two identifiers.
    static std::mutex firstRead;
    const std::lock_guard guard(firstRead);
    if (const auto stored = preferences.string(PreferenceKey::deviceId))
        return *stored;
    const QString drawn = uuidText(random.uuid());
    preferences.setDefault(PreferenceKey::deviceId, drawn);
    return drawn;
}

bool RememberedLoginStorage::isEnabled(const PreferenceStore& preferences) {
    return preferences.boolean(PreferenceKey::rememberLoginEmailEnabled).value_or(true);
}

std::optional<QString> RememberedLoginStorage::savedEmail(const PreferenceStore& preferences) {
    if (!isEnabled(preferences))
        return std::nullopt;
    const QString email = preferences.string(PreferenceKey::rememberedLoginEmail).value_or(QString()).trimmed();
    return email.isEmpty() ? std::nullopt : std::optional(email);
}

void RememberedLoginStorage::save(const QString& email, PreferenceStore& preferences) {
    if (isEnabled(preferences))
        preferences.set(PreferenceKey::rememberedLoginEmail, email.trimmed());
}

std::optional<QString> LastCompanyStorage::lastEndpoint(const PreferenceStore& preferences) {
    const auto endpoint = preferences.string(PreferenceKey::lastSelectedCompanyEndpoint);
    return endpoint && !endpoint->isEmpty() ? endpoint : std::nullopt;
}

int DailyTargetStorage::seconds(const PreferenceStore& preferences) {
    const double stored = preferences.number(PreferenceKey::dailyTargetSeconds).value_or(0);
    return stored < 1 ? defaultTargetSeconds : static_cast<int>(std::min<double>(stored, secondsPerDay));
}

void DailyTargetStorage::set(int hours, int minutes, PreferenceStore& preferences) {
    const int sum = std::clamp(hours, 0, 24) * 3600 + std::clamp(minutes, 0, 59) * 60;
    preferences.set(PreferenceKey::dailyTargetSeconds, sum == 0 ? defaultTargetSeconds : std::min(sum, secondsPerDay));
}

void UserProfileStorage::set(const std::optional<QString>& userName, const std::optional<QString>& companyName,
                             PreferenceStore& preferences) {
    setOrRemove(PreferenceKey::userName, userName, preferences);
    setOrRemove(PreferenceKey::companyName, companyName, preferences);
}

CompanyListOrder::Ordered CompanyListOrder::ordered(std::vector<LoginCompany> companies,
                                                    const std::optional<QString>& lastEndpoint) {
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::ranges::stable_sort(
        companies, [&collator](const QString& a, const QString& b) { return collator.compare(a, b) < 0; },
        &LoginCompany::name);
    const auto recent =
        lastEndpoint ? std::ranges::find(companies, *lastEndpoint, &LoginCompany::endpoint) : companies.end();
    if (recent == companies.end())
        return {std::move(companies), std::nullopt};
    std::rotate(companies.begin(), recent, std::next(recent));
    return {std::move(companies), lastEndpoint};
}
