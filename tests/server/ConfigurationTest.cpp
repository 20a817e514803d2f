#include "ServerWorld.h"
#include "platform/PrivateFiles.h"
#include "tests/support/FullDisk.h"

#include <QDir>
#include <set>

namespace {

struct ConfigurationTest : ServerTest {
    using First = RemoteConfigService::FirstFetch;
    static constexpr Seconds day = 86400;

    ConfigurationTest() {
        config.latestClientVersion = "2.0";
        machine.timeline.setZone("Europe/Paris");
    }

    QByteArray reply() const { return R"({"data":)" + encodeRemoteConfig(config) + '}'; }
    Outcome<RemoteConfig> fetched(const QByteArray& body) {
        answer(Network::answer(200, body));
        return outcomeOf(remoteConfig.fetchConfig());
    }
    QStringList filesOfFolder() const { return QFileInfo(remoteConfig.fileURL()).dir().entryList(QDir::Files); }
    void passUntilRequest(std::size_t number) {
        while (requests.size() < number)
            pass(1);
    }

    RemoteConfig config;
};

TEST_F(ConfigurationTest, TheLastGoodCopyStays) {
    EXPECT_FALSE(remoteConfig.cachedConfig());
    EXPECT_TRUE(log.lines().isEmpty()) << "no file is no fault";
    fetched(reply());
    EXPECT_EQ(fetched(R"({"data":{}})").failure, Kind::decodingFailed);
    {
        const FullDisk disk(10);
        fetched(reply());
    }
    EXPECT_EQ(remoteConfig.cachedConfig(), config);
    EXPECT_EQ(filesOfFolder(), QStringList{"config.json"});
    ASSERT_TRUE(QFile::remove(remoteConfig.fileURL()) && QDir().mkdir(remoteConfig.fileURL()));
    EXPECT_EQ(fetched(reply()).value, config) << "a cache that cannot be written is no failure";
}

TEST_F(ConfigurationTest, TheCacheServesItsOwnerWithoutTodaysTotal) {
    const QUrl root("https://old.example/api/v1/");
    domain.setBaseURL(root);
    RemoteConfig kept = config;
    config.todayTotalSeconds = 20'000;
    config.todayDate = "2024-05-15";
    fetched(reply());
    EXPECT_EQ(remoteConfig.cachedConfig(), kept);
    domain.setBaseURL(QUrl("https://new.example/api/v1/"));
    EXPECT_FALSE(remoteConfig.cachedConfig());
    domain.setBaseURL(root);
    PrivateFiles::replaceFile(remoteConfig.fileURL(), encodeRemoteConfig(config));
    EXPECT_FALSE(remoteConfig.cachedConfig()) << "of an earlier version, nobody knows whose";
    EXPECT_EQ(filesOfFolder(), QStringList{"config.json"}) << "but not damaged";
}

TEST_F(ConfigurationTest, ACacheThatMakesNoSenseIsSetAsideOnce) {
    const QByteArray keyless = encodeRemoteConfig(config).replace("device_id", "devise_id");
    for (const QByteArray& damage : {QByteArray(""), QByteArray("{"), keyless}) {
        PrivateFiles::replaceFile(remoteConfig.fileURL(), damage);
        const auto lines = log.lines(QtCriticalMsg).size();
        EXPECT_FALSE(remoteConfig.cachedConfig() || remoteConfig.cachedConfig());
        EXPECT_EQ(log.lines(QtCriticalMsg).size(), lines + 1);
    }
    EXPECT_EQ(filesOfFolder().filter("config.json.unreadable-20231114-221320").size(), 3);
    EXPECT_EQ(filesOfFolder().size(), 3);
}

TEST_F(ConfigurationTest, AnAnswerForAnEarlierSignInIsDropped) {
    machine.urlSession.setServer([this](const URLRequest& request) {
        config.name = config.deviceId = request.url.host();
        return Network::answer(200, reply(), config.deviceId == "new.example" ? 1 : 5);
    });
    domain.setBaseURL(QUrl("https://old.example/api/v1/"));
    const auto late = remoteConfig.fetchConfig();
    EXPECT_TRUE(succeeds(auth.selectCompany("new.example", tokensNamed("new"), "a@b")));
    const auto present = outcomeOf(remoteConfig.fetchConfig(), 3);
    EXPECT_EQ(present.value.value_or(RemoteConfig()).deviceId, "new.example") << "the other was not joined";
    EXPECT_EQ(outcomeOf(late, 5).failure, Kind::network);
    EXPECT_EQ(remoteConfig.cachedConfig(), present.value);
    EXPECT_EQ(preference(PreferenceKey::userName), "new.example");
    const auto afterLogout = remoteConfig.fetchConfig();
    auth.logout();
    EXPECT_EQ(outcomeOf(afterLogout, 5).failure, Kind::network);
    EXPECT_FALSE(preference(PreferenceKey::userName));
}

TEST_F(ConfigurationTest, ACacheThatCannotBeReadStays) {
    ASSERT_TRUE(QFile::link("/proc/self/mem", remoteConfig.fileURL())); // opens, and fails at each read
    EXPECT_FALSE(remoteConfig.cachedConfig());
    EXPECT_EQ(log.count("The configuration cache cannot be read"), 1);
    EXPECT_EQ(filesOfFolder(), QStringList{"config.json"});
}

TEST_F(ConfigurationTest, PeriodicRefreshOverDays) {
    std::set<Seconds> intervals;
    Seconds last = 0;
    std::size_t updates = 0;
    machine.urlSession.setServer([&](const URLRequest&) {
        intervals.insert(machine.timeline.uptime() - std::exchange(last, machine.timeline.uptime()));
        return Network::answer(requests.size() % 2 ? 200 : 500, reply(), 0);
    });
    remoteConfig.startPeriodicRefresh(First::afterInterval,
                                      [&](const RemoteConfig& update) { updates += update == config; });
    pass(7 * day);
    EXPECT_EQ(updates, (requests.size() + 1) / 2);
    EXPECT_TRUE(*intervals.begin() >= 1200 && *intervals.begin() < 1300) << *intervals.begin();
    EXPECT_TRUE(*intervals.rbegin() > 2300 && *intervals.rbegin() <= 2400) << *intervals.rbegin();
    EXPECT_GT(last, 7 * day - 2400);
}

TEST_F(ConfigurationTest, AMissingConfigurationIsFetchedAtOnceAndAgain) {
    std::vector<Seconds> times;
    int updates = 0;
    machine.urlSession.setServer([&](const URLRequest&) {
        times.push_back(machine.timeline.uptime());
        return Network::answer(times.size() < 10 ? 500 : 200, reply(), 0);
    });
    const Seconds began = machine.timeline.uptime();
    remoteConfig.startPeriodicRefresh(First::atOnce, [&](const RemoteConfig&) { ++updates; });
    pass(1000);
    ASSERT_EQ(times.size(), 10u);
    EXPECT_EQ(times[0], began);
    const Seconds delays[] = {2, 4, 8, 16, 32, 60, 60, 60, 60};
    for (std::size_t i = 0; i < std::size(delays); ++i)
        EXPECT_NEAR(times[i + 1] - times[i], delays[i], delays[i] / 4);
    EXPECT_EQ(updates, 1);
    pass(2400);
    EXPECT_EQ(updates, 2) << "and from then on as ever";
}

TEST_F(ConfigurationTest, ALoopThatWasReplacedOrStoppedIsSilent) {
    answer(Network::answer(200, reply(), 10));
    int first = 0, second = 0;
    remoteConfig.startPeriodicRefresh(First::afterInterval, [&](const RemoteConfig&) { ++first; });
    passUntilRequest(1); // replaced while its fetch is under way
    remoteConfig.startPeriodicRefresh(First::afterInterval, [&](const RemoteConfig&) { ++second; });
    passUntilRequest(2);
    EXPECT_EQ(outcomeOf(remoteConfig.fetchConfig(), 11).value, config);
    EXPECT_EQ(requests.size(), 2u) << "a person's fetch joined the timer's";
    EXPECT_TRUE(first == 0 && second == 1) << "one loop only";
    passUntilRequest(3);
    remoteConfig.stopPeriodicRefresh(); // in its fetch
    pass(day);
    EXPECT_EQ(second, 1);
    EXPECT_EQ(requests.size(), 3u);
}

TEST_F(ConfigurationTest, UnknownZonesAreTheSystems) {
    for (const QString text : {"Asia/Tokyo", "", "Mars/Olympus", "../../../etc/passwd"}) {
        config.appTimezone = text;
        const QString zone = text == "Asia/Tokyo" ? text : "Europe/Paris";
        EXPECT_EQ(timeZones.timezoneIdentifierForAPI(&config), zone);
        timeZones.store(text);
        EXPECT_EQ(timeZones.storedTimezoneIdentifier(), text.isEmpty() ? zone : text);
        EXPECT_EQ(timeZones.storedTimeZone().id(), zone);
    }
}

} // namespace
