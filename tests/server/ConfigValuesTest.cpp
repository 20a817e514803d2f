#include "AppVersion.h"
#include "AuthDateParser.h"
#include "RemoteConfig.h"
#include "ServerWorld.h"

#include <QFile>

namespace {

TEST(AppVersionTest, ParsesLeadingNumbers) {
    const struct {
        const char* version;
        std::vector<qint64> numbers;
    } cases[] = {
        {"", {}},
        {"...", {}},
        {"1.2.3", {1, 2, 3}},
        {"1..2", {1, 2}},
        {"1.2beta3.rc", {1, 2, 0}},
        {"v1.2", {0, 2}},
        {" 1.-2", {0, 0}},
        {"007", {7}},
        {"9223372036854775807.9223372036854775808", {9223372036854775807, 0}},
        {"1½.2", {0, 2}}, // counts as a number, and does not parse
        {"٣.1", {0, 1}},  // a digit of another script
        {"1𝟚.1", {0, 1}}, // one outside the basic plane
    };
    for (const auto& [version, numbers] : cases)
        EXPECT_EQ(AppVersion::parse(QString::fromUtf8(version)), numbers) << version;
}

TEST(AppVersionTest, ComparesNumberByNumber) {
    const struct {
        const char *version, *than;
        bool isLower;
    } cases[] = {{"1.2.0", "1.2", false},  {"1.2", "1.2.0", false}, {"1.2.0", "1.2.1", true},
                 {"1.2", "1.2.1", true},   {"1.10", "1.9", false},  {"1.9", "1.10", true},
                 {"2", "1.9.9", false},    {"", "0.0", false},      {"", "0.0.1", true},
                 {"1.2-rc1", "1.2", false}};
    for (const auto& [version, than, isLower] : cases)
        EXPECT_EQ(AppVersion::isLower(version, than), isLower) << version << " < " << than;
}

TEST(AppVersionTest, MissingInformationReadsAsZero) {
    SimulatedInformation information;
    EXPECT_EQ(AppVersion::currentMarketingVersion(information), "1.0.0");
    EXPECT_EQ(AppVersion::currentBuildVersion(information), "1");
    information.values.clear();
    EXPECT_EQ(AppVersion::currentMarketingVersion(information), "0.0.0");
    EXPECT_EQ(AppVersion::currentBuildVersion(information), "0");
}

TEST(AuthDateParserTest, ReadsTwoFormsElseTheDefault) {
    const Date now = Date::since1970(1'000'000);
    const Date later = now + 3600;
    const Date noon = Date::since1970(1'714'564'800); // 2024-05-01T12:00:00Z
    const struct {
        const char* text;
        Date date;
    } cases[] = {{"2024-05-01T12:00:00Z", noon},
                 {"2024-05-01T19:00:00+07:00", noon},
                 {"2024-05-01 12:00:00", noon},
                 {"2024-05-01T12:00:00", later},
                 {"2024-05-01 12:00:00Z", later},
                 {"2024-05-01T12:00:00.5Z", later},
                 {"2024-02-30 12:00:00", later},
                 {"2024-05-01 24:00:00", later},
                 {"2024-05-01  12:00:00", later},
                 {"1714564800", later},
                 {"", later},
                 {"soon", later}};
    for (const auto& [text, date] : cases)
        EXPECT_EQ(AuthDateParser::parse(text, 3600, now), date) << text;
}

class APITimeZoneResolverTest : public ServerTest {
protected:
    APITimeZoneResolverTest() { machine.timeline.setZone("Europe/Paris"); }
    APITimeZoneResolver& zones = services.timeZones;
};

TEST_F(APITimeZoneResolverTest, UnknownZonesAreTheSystems) {
    const struct {
        std::optional<QString> identifier;
        const char* zone;
    } cases[] = {{"Asia/Tokyo", "Asia/Tokyo"},
                 {" Asia/Tokyo\n", "Asia/Tokyo"},
                 {"UTC", "UTC"},
                 {std::nullopt, "Europe/Paris"},
                 {"", "Europe/Paris"},
                 {"  ", "Europe/Paris"},
                 {"Mars/Olympus", "Europe/Paris"},
                 {"../../../etc/passwd", "Europe/Paris"},
                 {"/usr/share/zoneinfo/Asia/Tokyo", "Europe/Paris"},
                 {"EST5EDT,M3.2.0,M11.1.0", "Europe/Paris"},
                 {QString(100'000, 'x'), "Europe/Paris"}};
    for (const auto& [identifier, zone] : cases) {
        RemoteConfig config;
        config.appTimezone = identifier;
        EXPECT_EQ(zones.timezoneIdentifierForAPI(&config), QString(zone)) << qPrintable(identifier->left(50));
        EXPECT_EQ(zones.resolvedTimeZone(identifier).id(), zone);
    }
    EXPECT_EQ(zones.timezoneIdentifierForAPI(nullptr), "Europe/Paris");
}

TEST_F(APITimeZoneResolverTest, StoredIdentifierIsGivenAsItIs) {
    EXPECT_EQ(zones.storedTimezoneIdentifier(), "Europe/Paris");
    zones.store("");
    EXPECT_EQ(zones.storedTimezoneIdentifier(), "Europe/Paris");
    zones.store("Mars/Olympus");
    EXPECT_EQ(zones.storedTimezoneIdentifier(), "Mars/Olympus");
    EXPECT_EQ(zones.storedTimeZone().id(), "Europe/Paris");
    zones.store("Asia/Tokyo");
    EXPECT_EQ(zones.storedTimeZone().id(), "Asia/Tokyo");
}

TEST_F(APITimeZoneResolverTest, BootstrapTakesTheCachedZone) {
    const QString path = folder.filePath("config.json");
    const auto bootstrapFrom = [&](const QByteArray& content) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        zones.bootstrapFromCachedConfigFileIfPresent(path);
        EXPECT_TRUE(QFile::exists(path));
    };
    zones.bootstrapFromCachedConfigFileIfPresent(path);
    EXPECT_EQ(preference(PreferenceKey::apiTimezoneIdentifier), std::nullopt);

    RemoteConfig config;
    config.appTimezone = "Asia/Tokyo";
    bootstrapFrom(encodeRemoteConfig(config));
    EXPECT_EQ(preference(PreferenceKey::apiTimezoneIdentifier), "Asia/Tokyo");
    bootstrapFrom("{damaged");
    EXPECT_EQ(preference(PreferenceKey::apiTimezoneIdentifier), "Asia/Tokyo");
    config.appTimezone = std::nullopt;
    bootstrapFrom(encodeRemoteConfig(config));
    EXPECT_EQ(preference(PreferenceKey::apiTimezoneIdentifier), "Europe/Paris");
}

} // namespace
