#include "PreferenceStores.h"

#include "KeychainService.h"
#include "StoreWorld.h"
#include "TrackingHeartbeat.h"

#include <thread>

namespace {

TEST(DomainStorage, BuildsAnApiRootOfAnEndpoint) {
    const std::pair<const char*, const char*> cases[] = {
        {"acme.test", "https://acme.test/api/v1/"},
        {"acme.test/", "https://acme.test/api/v1/"},
        {" \tacme.test/api/v1\n", "https://acme.test/api/v1/"},
        {"acme.test/api/v1/", "https://acme.test/api/v1/"},
        {"http://acme.test:8080/hr", "http://acme.test:8080/hr/api/v1/"},
        {"HTTPS://acme.test", "https://acme.test/api/v1/"},
        {"acme.test//", "https://acme.test//api/v1/"},
        {"ftp://acme.test", "https://ftp//acme.test/api/v1/"},
        {" \r\n ", ""},
        {"two words", ""},
        {"..", ""},
        {"acme.test:99999", ""},
        {"acme.test/<script>", ""},
    };
    for (const auto& [endpoint, root] : cases)
        EXPECT_EQ(DomainStorage::buildBaseURL(endpoint).value_or(QUrl()).toString(), root) << endpoint;
}

TEST(DomainStorage, KeepsOneUrlAndNamesItsHost) {
    MemoryPreferenceStore preferences;
    DomainStorage domain(preferences);
    EXPECT_EQ(domain.domainKey(), "global");
    const std::tuple<QJsonValue, bool, const char*> cases[] = {
        {"", false, "global"},
        {7, false, "global"},
        {"https://[broken", false, "global"},
        {"/no/host", true, "global"},
        {"https://user:pw@acme.test:99/x", true, "acme.test"},
    };
    for (const auto& [stored, hasUrl, key] : cases) {
        preferences.set(PreferenceKey::apiBaseURL, stored);
        EXPECT_EQ(domain.getBaseURL().has_value(), hasUrl) << key;
        EXPECT_EQ(domain.domainKey(), key);
        EXPECT_EQ(domain.hasCompany(), domain.domainKey() != "global");
    }
    domain.setBaseURL(QUrl("https://acme.test/a%20b/api/v1/"));
    EXPECT_EQ(preferences.value(PreferenceKey::apiBaseURL), "https://acme.test/a%20b/api/v1/");
    domain.setBaseURL(std::nullopt);
    EXPECT_TRUE(preferences.value(PreferenceKey::apiBaseURL).isUndefined());
}

TEST(DeviceIdProvider, DrawsOnceAndNeverChanges) {
    MemoryPreferenceStore preferences;
    SimulatedRandom random;
    std::vector<QString> seen(8);
    std::vector<std::thread> threads;
    for (QString& id : seen)
        threads.emplace_back([&] { id = DeviceIdProvider::current(preferences, random); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(seen, std::vector<QString>(8, preferences.string(PreferenceKey::deviceId).value_or("none")));
    EXPECT_EQ(uuidText(uuidFromText(seen.front())), seen.front());
    for (const char* kept : {"", "not a uuid"}) {
        preferences.set(PreferenceKey::deviceId, kept);
        EXPECT_EQ(DeviceIdProvider::current(preferences, random), kept);
    }
}

TEST(RememberedLogin, IsOnUnlessStoredOtherwise) {
    const std::pair<QJsonValue, bool> cases[] = {
        {{}, true}, {true, true}, {false, false}, {"false", true}, {0, true}};
    for (const auto& [stored, isEnabled] : cases) {
        MemoryPreferenceStore preferences;
        preferences.set(PreferenceKey::rememberLoginEmailEnabled, stored);
        EXPECT_EQ(RememberedLoginStorage::isEnabled(preferences), isEnabled);
        preferences.set(PreferenceKey::rememberedLoginEmail, "\tbob@acme.test ");
        EXPECT_EQ(RememberedLoginStorage::savedEmail(preferences).value_or(""),
                  isEnabled ? "bob@acme.test" : "");
        RememberedLoginStorage::save(" \n", preferences);
        EXPECT_EQ(preferences.value(PreferenceKey::rememberedLoginEmail) == "", isEnabled);
        EXPECT_FALSE(RememberedLoginStorage::savedEmail(preferences));
    }
}

TEST(DailyTarget, StaysBetweenAMinuteAndADay) {
    MemoryPreferenceStore preferences;
    EXPECT_EQ(DailyTargetStorage::seconds(preferences), 28800);
    const std::tuple<int, int, int> written[] = {{0, 0, 28800}, {30, 90, 86400}, {-5, -5, 28800},
                                                 {0, 1, 60},    {7, 59, 28740},  {-1, 61, 3540}};
    for (const auto& [hours, minutes, seconds] : written) {
        DailyTargetStorage::set(hours, minutes, preferences);
        EXPECT_EQ(preferences.value(PreferenceKey::dailyTargetSeconds), seconds) << hours << ':' << minutes;
    }
    const std::pair<QJsonValue, int> stored[] = {
        {0, 28800}, {-1, 28800}, {1, 1}, {86400, 86400}, {86401, 86400}, {1e300, 86400}, {"3600", 28800}};
    for (const auto& [value, seconds] : stored) {
        preferences.set(PreferenceKey::dailyTargetSeconds, value);
        EXPECT_EQ(DailyTargetStorage::seconds(preferences), seconds);
    }
}

TEST(SmallStores, KeepAndRemove) {
    MemoryPreferenceStore preferences;
    UserProfileStorage::set("Ann", "Acme", preferences);
    UserProfileStorage::set("", std::nullopt, preferences);
    EXPECT_EQ(preferences.value(PreferenceKey::userName), "");
    EXPECT_TRUE(preferences.value(PreferenceKey::companyName).isUndefined());
    EXPECT_FALSE(LastCompanyStorage::lastEndpoint(preferences));
    for (const char* endpoint : {"", " acme.test"}) {
        preferences.set(PreferenceKey::lastSelectedCompanyEndpoint, endpoint);
        EXPECT_EQ(LastCompanyStorage::lastEndpoint(preferences).value_or(""), endpoint);
    }
    const QString key = "com.velmora.timetracker.heartbeat.0A1B2C3D-0000-4000-8000-000000000001";
    TrackingHeartbeat::record(numberedId(1), Date::since1970(1714530600.5), preferences);
    EXPECT_EQ(preferences.value(key), 1714530600.5);
    EXPECT_EQ(TrackingHeartbeat::load(numberedId(1), preferences), Date::since1970(1714530600.5));
    for (const QJsonValue& unusable : {QJsonValue(0), QJsonValue(-5), QJsonValue("1714530600")}) {
        preferences.set(key, unusable);
        EXPECT_FALSE(TrackingHeartbeat::load(numberedId(1), preferences));
    }
    TrackingHeartbeat::clear(numberedId(1), preferences);
    EXPECT_TRUE(preferences.value(key).isUndefined());
}

TEST(CompanyListOrder, SortsByNameAndPutsTheLastOneFirst) {
    const char* sorted = "Alpha@a2 alpha@a1 beta@b Beta@x Gamma@b";
    const std::tuple<std::optional<QString>, const char*, std::optional<QString>> cases[] = {
        {std::nullopt, sorted, std::nullopt},
        {"nowhere", sorted, std::nullopt},
        {"B", sorted, std::nullopt}, // compared exactly
        {"b", "beta@b Alpha@a2 alpha@a1 Beta@x Gamma@b", "b"},
        {"x", "Beta@x Alpha@a2 alpha@a1 beta@b Gamma@b", "x"},
    };
    for (const auto& [last, order, recent] : cases) {
        const auto ordered = CompanyListOrder::ordered(
            {{"beta", "b"}, {"Alpha", "a2"}, {"alpha", "a1"}, {"Gamma", "b"}, {"Beta", "x"}}, last);
        QStringList names;
        for (const LoginCompany& company : ordered.companies)
            names << company.name + '@' + company.endpoint;
        EXPECT_EQ(names.join(' '), order);
        EXPECT_EQ(ordered.recentEndpoint, recent);
    }
}

TEST(KeychainService, KeepsOneItemAndTellsALockFromNothing) {
    MemorySecretStore secrets;
    KeychainService keychain(secrets);
    using enum SecretStore::WhenLocked;
    const auto isDefinite = [&] { return keychain.readAuthTokens(giveUp).isDefinite; };
    AuthTokens tokens{"access", "refresh", Date::since2001(1), Date::since2001(2), "r1", "r2"};
    EXPECT_FALSE(keychain.getAuthTokens());
    EXPECT_TRUE(isDefinite()) << "there is none, and that is certain";
    keychain.saveAuthTokens(tokens);
    tokens.accessToken = "second";
    keychain.saveAuthTokens(tokens);
    EXPECT_EQ(keychain.getAuthTokens(), tokens);
    AuthTokens endless = tokens;
    endless.expiresAt = Date::since2001(std::numeric_limits<double>::infinity());
    keychain.saveAuthTokens(endless);
    EXPECT_EQ(keychain.getAuthTokens(), tokens) << "what cannot be encoded changes nothing";

    secrets.isLocked = true;
    EXPECT_FALSE(keychain.readAuthTokens(giveUp).tokens || isDefinite());
    EXPECT_EQ(secrets.prompts, 0);
    EXPECT_FALSE(keychain.getAuthTokens());
    EXPECT_GT(secrets.prompts, 0);
    secrets.unlocksWhenAsked = true;
    EXPECT_EQ(keychain.getAuthTokens(), tokens);
    secrets.isBroken = true;
    EXPECT_FALSE(keychain.readAuthTokens(giveUp).tokens || isDefinite());
    secrets.isLocked = secrets.isBroken = false;
    keychain.deleteAuthTokens();
    EXPECT_FALSE(keychain.getAuthTokens());
    secrets.add("com.velmora.timetracker", "auth_tokens", "{\"accessToken\":\"x\"}");
    EXPECT_FALSE(keychain.getAuthTokens());
    EXPECT_TRUE(isDefinite());
}

} // namespace
