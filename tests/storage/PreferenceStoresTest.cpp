#include "PreferenceStores.h"

#include "DomainStorage.h"
#include "KeychainService.h"
#include "LogCapture.h"
#include "SimulatedStores.h"
#include "Timeline.h"
#include "TrackingHeartbeat.h"

#include <gtest/gtest.h>
#include <thread>

TEST(DomainStorage, buildsAnApiRootOfAnEndpoint) {
    const struct {
        const char* endpoint;
        const char* root; ///< Null: none.
    } cases[] = {
        {"acme.test", "https://acme.test/api/v1/"},
        {"acme.test/", "https://acme.test/api/v1/"},
        {" \tacme.test/api/v1\n", "https://acme.test/api/v1/"},
        {"acme.test/api/v1/", "https://acme.test/api/v1/"},
        {"https://acme.test", "https://acme.test/api/v1/"},
        {"http://acme.test:8080/hr", "http://acme.test:8080/hr/api/v1/"},
        {"HTTPS://acme.test", "https://acme.test/api/v1/"},
        {"127.0.0.1:8080", "https://127.0.0.1:8080/api/v1/"},
        {"acme.test//", "https://acme.test//api/v1/"},
        {"ftp://acme.test", "https://ftp//acme.test/api/v1/"},
        {"", nullptr},
        {" \r\n ", nullptr},
        {"two words", nullptr},
        {"..", nullptr},
        {"acme.test:99999", nullptr},
        {"acme.test/<script>", nullptr},
    };
    for (const auto& c : cases) {
        const auto url = DomainStorage::buildBaseURL(c.endpoint);
        EXPECT_EQ(url.has_value(), c.root != nullptr) << c.endpoint;
        EXPECT_EQ(url.value_or(QUrl()).toString().toStdString(), c.root ? c.root : "") << c.endpoint;
    }
}

TEST(DomainStorage, keepsOneUrlAndNamesItsHost) {
    MemoryPreferenceStore preferences;
    DomainStorage domain(preferences);
    const struct {
        QJsonValue stored;
        bool hasUrl;
        const char* key;
    } cases[] = {
        {QJsonValue::Undefined, false, "global"},
        {"", false, "global"},
        {7, false, "global"},
        {"https://acme.test/api/v1/", true, "acme.test"},
        {"https://acme.test:99/x", true, "acme.test"},
        {"/no/host", true, "global"},
        {"https://[broken", false, "global"},
        {"https://user:pw@acme.test/", true, "acme.test"},
    };
    for (const auto& c : cases) {
        preferences.remove(PreferenceKey::apiBaseURL);
        if (!c.stored.isUndefined()) {
            preferences.set(PreferenceKey::apiBaseURL, c.stored);
        }
        EXPECT_EQ(domain.getBaseURL().has_value(), c.hasUrl) << c.stored.toString().toStdString();
        EXPECT_EQ(domain.domainKey(), c.key) << c.stored.toString().toStdString();
        EXPECT_EQ(domain.hasCompany(), QString(c.key) != "global");
    }
    domain.setBaseURL(QUrl("https://acme.test/a%20b/api/v1/"));
    EXPECT_EQ(preferences.value(PreferenceKey::apiBaseURL), "https://acme.test/a%20b/api/v1/");
    domain.setBaseURL(std::nullopt);
    EXPECT_TRUE(preferences.value(PreferenceKey::apiBaseURL).isUndefined());
}

TEST(DeviceIdProvider, drawsOnceAndNeverChanges) {
    MemoryPreferenceStore preferences;
    SimulatedRandom random;
    std::vector<QString> seen(8);
    std::vector<std::thread> threads;
    for (QString& id : seen) {
        threads.emplace_back([&] { id = DeviceIdProvider::current(preferences, random); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const QString& id : seen) {
        EXPECT_EQ(id, seen.front());
    }
    EXPECT_EQ(seen.front(), seen.front().toUpper());
    EXPECT_FALSE(QUuid::fromString(seen.front()).isNull());
    EXPECT_EQ(preferences.value(PreferenceKey::deviceId), seen.front());
    for (const char* kept : {"", "not a uuid"}) {
        preferences.set(PreferenceKey::deviceId, kept);
        EXPECT_EQ(DeviceIdProvider::current(preferences, random), kept);
    }
}

TEST(RememberedLogin, isOnUnlessStoredOtherwise) {
    const struct {
        QJsonValue enabled;
        bool isEnabled;
    } cases[] = {{QJsonValue::Undefined, true}, {true, true}, {false, false}, {"false", true}, {0, true}};
    for (const auto& c : cases) {
        MemoryPreferenceStore preferences;
        if (!c.enabled.isUndefined()) {
            preferences.set(PreferenceKey::rememberLoginEmailEnabled, c.enabled);
        }
        EXPECT_EQ(RememberedLoginStorage::isEnabled(preferences), c.isEnabled);
        EXPECT_FALSE(RememberedLoginStorage::savedEmail(preferences));
        RememberedLoginStorage::save(" ann@acme.test\n", preferences);
        EXPECT_EQ(preferences.value(PreferenceKey::rememberedLoginEmail).isUndefined(), !c.isEnabled);
        preferences.set(PreferenceKey::rememberedLoginEmail, "\tann@acme.test ");
        EXPECT_EQ(RememberedLoginStorage::savedEmail(preferences),
                  c.isEnabled ? std::optional<QString>("ann@acme.test") : std::nullopt);
        RememberedLoginStorage::save("  ", preferences);
        EXPECT_EQ(RememberedLoginStorage::savedEmail(preferences).has_value(), false);
        EXPECT_EQ(preferences.value(PreferenceKey::rememberedLoginEmail) == "", c.isEnabled);
    }
}

TEST(DailyTarget, staysBetweenAMinuteAndADay) {
    MemoryPreferenceStore preferences;
    EXPECT_EQ(DailyTargetStorage::seconds(preferences), 28800);
    const struct {
        int hours;
        int minutes;
        int seconds;
    } written[] = {{8, 0, 28800},   {0, 0, 28800}, {30, 90, 86400}, {24, 1, 86400},
                   {-5, -5, 28800}, {0, 1, 60},    {7, 59, 28740},  {-1, 61, 3540}};
    for (const auto& c : written) {
        DailyTargetStorage::set(c.hours, c.minutes, preferences);
        EXPECT_EQ(preferences.value(PreferenceKey::dailyTargetSeconds), c.seconds)
            << c.hours << ':' << c.minutes;
        EXPECT_EQ(DailyTargetStorage::seconds(preferences), c.seconds);
    }
    const std::pair<QJsonValue, int> stored[] = {{0, 28800},      {-1, 28800},    {1, 1},
                                                 {86400, 86400},  {86401, 86400}, {1e300, 86400},
                                                 {"3600", 28800}, {0.5, 28800}};
    for (const auto& [value, seconds] : stored) {
        preferences.set(PreferenceKey::dailyTargetSeconds, value);
        EXPECT_EQ(DailyTargetStorage::seconds(preferences), seconds);
    }
}

TEST(SmallStores, keepAndRemove) {
    MemoryPreferenceStore preferences;
    UserProfileStorage::set("Ann", "Acme", preferences);
    UserProfileStorage::set("", std::nullopt, preferences);
    EXPECT_EQ(preferences.value(PreferenceKey::userName), "");
    EXPECT_TRUE(preferences.value(PreferenceKey::companyName).isUndefined());

    EXPECT_FALSE(LastCompanyStorage::lastEndpoint(preferences));
    preferences.set(PreferenceKey::lastSelectedCompanyEndpoint, "");
    EXPECT_FALSE(LastCompanyStorage::lastEndpoint(preferences));
    preferences.set(PreferenceKey::lastSelectedCompanyEndpoint, " acme.test");
    EXPECT_EQ(LastCompanyStorage::lastEndpoint(preferences), " acme.test");

    const QUuid id = QUuid::fromString(QString("0a1b2c3d-0000-4000-8000-000000000001"));
    const QString key = "com.velmora.timetracker.heartbeat.0A1B2C3D-0000-4000-8000-000000000001";
    EXPECT_FALSE(TrackingHeartbeat::load(id, preferences));
    TrackingHeartbeat::record(id, Date::since1970(1714530600.5), preferences);
    EXPECT_EQ(preferences.value(key), 1714530600.5);
    EXPECT_EQ(TrackingHeartbeat::load(id, preferences), Date::since1970(1714530600.5));
    for (const QJsonValue& unusable : {QJsonValue(0), QJsonValue(-5), QJsonValue("1714530600")}) {
        preferences.set(key, unusable);
        EXPECT_FALSE(TrackingHeartbeat::load(id, preferences));
    }
    TrackingHeartbeat::clear(id, preferences);
    EXPECT_TRUE(preferences.value(key).isUndefined());
}

TEST(CompanyListOrder, sortsByNameAndPutsTheLastOneFirst) {
    const std::vector<LoginCompany> companies{
        {"beta", "b"}, {"Alpha", "a2"}, {"alpha", "a1"}, {"Gamma", "b"}, {"Beta", "x"}};
    const auto endpoints = [&](const std::optional<QString>& last) {
        QStringList found;
        for (const LoginCompany& company : CompanyListOrder::ordered(companies, last).companies) {
            found << company.name + '@' + company.endpoint;
        }
        return found.join(' ').toStdString();
    };
    const std::string sorted = "Alpha@a2 alpha@a1 beta@b Beta@x Gamma@b";
    EXPECT_EQ(endpoints(std::nullopt), sorted);
    EXPECT_EQ(endpoints("nowhere"), sorted);
    EXPECT_EQ(endpoints("B"), sorted) << "an endpoint is compared exactly";
    EXPECT_EQ(endpoints("b"), "beta@b Alpha@a2 alpha@a1 Beta@x Gamma@b") << "the first of two";
    EXPECT_EQ(CompanyListOrder::ordered(companies, "x").recentEndpoint, "x");
    EXPECT_EQ(CompanyListOrder::ordered(companies, "nowhere").recentEndpoint, std::nullopt);
    EXPECT_TRUE(CompanyListOrder::ordered({}, "x").companies.empty());
}

TEST(KeychainService, keepsOneItemAndTellsALockFromNothing) {
    MemorySecretStore secrets;
    KeychainService keychain(secrets);
    const AuthTokens tokens{
        "secret-access", "secret-refresh", Date::since2001(1), Date::since2001(2), "r1", "r2"};
    using enum SecretStore::WhenLocked;
    const LogCapture log;

    EXPECT_FALSE(keychain.getAuthTokens());
    EXPECT_TRUE(keychain.readAuthTokens(giveUp).isDefinite) << "there is none, and that is certain";
    keychain.saveAuthTokens(tokens);
    EXPECT_EQ(keychain.getAuthTokens(), tokens);
    AuthTokens refreshed = tokens;
    refreshed.accessToken = "secret-2";
    keychain.saveAuthTokens(refreshed);
    EXPECT_EQ(keychain.getAuthTokens(), refreshed);
    AuthTokens endless = tokens;
    endless.expiresAt = Date::since2001(std::numeric_limits<double>::infinity());
    keychain.saveAuthTokens(endless);
    EXPECT_EQ(keychain.getAuthTokens(), refreshed) << "what cannot be encoded changes nothing";

    secrets.isLocked = true;
    EXPECT_FALSE(keychain.readAuthTokens(giveUp).tokens || keychain.readAuthTokens(giveUp).isDefinite);
    EXPECT_EQ(secrets.prompts, 0);
    EXPECT_FALSE(keychain.getAuthTokens());
    EXPECT_GT(secrets.prompts, 0);
    secrets.unlocksWhenAsked = true;
    EXPECT_EQ(keychain.getAuthTokens(), refreshed);
    secrets.isLocked = false;
    secrets.isBroken = true;
    EXPECT_FALSE(keychain.readAuthTokens(giveUp).tokens || keychain.readAuthTokens(giveUp).isDefinite);
    secrets.isBroken = false;

    keychain.deleteAuthTokens();
    EXPECT_FALSE(keychain.getAuthTokens());
    secrets.add(KeychainService::service, KeychainService::account, "{\"accessToken\":\"x\"}");
    EXPECT_FALSE(keychain.getAuthTokens());
    EXPECT_TRUE(keychain.readAuthTokens(giveUp).isDefinite);
    EXPECT_FALSE(log.contains("secret-"));
}
