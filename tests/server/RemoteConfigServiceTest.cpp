#include "ServerWorld.h"

#include <QDir>
#include <QFile>
#include <sys/stat.h>

namespace {

class RemoteConfigServiceTest : public ServerTest {
protected:
    static constexpr Seconds day = 86400;

    RemoteConfigServiceTest() {
        config.deviceId = "d";
        config.screenshotIntervalMinutes = 5;
        config.latestClientVersion = "2.0";
    }

    QByteArray reply() const { return R"({"data":)" + encodeRemoteConfig(config) + '}'; }
    QStringList filesOfFolder() const {
        return QFileInfo(service.fileURL()).dir().entryList(QDir::Files, QDir::Name);
    }
    void writeCache(const QByteArray& content) {
        QFile file(service.fileURL());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    RemoteConfigService& service = services.remoteConfig;
    RemoteConfig config;
};

TEST_F(RemoteConfigServiceTest, CallsAtOnceShareOneFetch) {
    for (const int status : {200, 500}) {
        machine.urlSession.requests.clear();
        answer(status, reply(), 2);
        const auto first = started(service.fetchConfig());
        pass(1);
        const auto second = started(service.fetchConfig());
        pass(1.1);
        EXPECT_EQ(machine.urlSession.requests.size(), 1u);
        for (const auto& outcome : {first, second}) {
            EXPECT_EQ(outcome->value, status == 200 ? std::optional(config) : std::nullopt);
            EXPECT_EQ(outcome->failedWith(APIError::Kind::serverError), status != 200);
        }
        started(service.fetchConfig());
        pass(3);
        EXPECT_EQ(machine.urlSession.requests.size(), 2u);
    }
}

TEST_F(RemoteConfigServiceTest, NamesAreKeptWhenTheReplyHasNone) {
    UserProfileStorage::set("Stored", std::nullopt, machine.preferences);
    const struct {
        std::optional<QString> name, companyName, userAfter, companyAfter;
    } cases[] = {{{}, {}, "Stored", {}}, {{}, "C", "Stored", "C"}, {"", {}, "", "C"}, {"N", "", "N", ""}};
    for (const auto& [name, companyName, userAfter, companyAfter] : cases) {
        config.name = name;
        config.companyName = companyName;
        answer(200, reply());
        started(service.fetchConfig());
        pass(1);
        EXPECT_EQ(preference(PreferenceKey::userName), userAfter);
        EXPECT_EQ(preference(PreferenceKey::companyName), companyAfter);
    }
}

TEST_F(RemoteConfigServiceTest, TheLastGoodCopyStaysInAPrivateFile) {
    EXPECT_FALSE(service.cachedConfig());
    EXPECT_TRUE(log.lines().isEmpty());
    const mode_t mask = umask(0);
    answer(200, reply());
    started(service.fetchConfig());
    pass(1);
    umask(mask);
    struct stat status = {};
    ASSERT_EQ(stat(QFile::encodeName(service.fileURL()).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    for (const QByteArray& bad : {QByteArray("{\"data\":{}}"), QByteArray("<html>"), reply().chopped(1)}) {
        answer(200, bad);
        const auto outcome = started(service.fetchConfig());
        pass(1);
        EXPECT_TRUE(outcome->failedWith(APIError::Kind::decodingFailed));
    }
    EXPECT_EQ(service.cachedConfig(), config);
    EXPECT_EQ(filesOfFolder(), QStringList{"config.json"});
}

TEST_F(RemoteConfigServiceTest, AnUnreadableCacheIsSetAsideOnce) {
    const QByteArray damages[] = {"", "{", encodeRemoteConfig(config).replace("device_id", "devise_id"),
                                  "\xff\x00"};
    for (const QByteArray& damage : damages) {
        writeCache(damage);
        const auto lines = log.lines().size();
        EXPECT_FALSE(service.cachedConfig());
        EXPECT_FALSE(service.cachedConfig());
        EXPECT_EQ(log.lines().size(), lines + 1);
        EXPECT_FALSE(QFile::exists(service.fileURL()));
    }
    EXPECT_EQ(filesOfFolder().size(), 4);
    EXPECT_EQ(filesOfFolder().filter("config.json.unreadable-20231114-221320").size(), 4);
}

TEST_F(RemoteConfigServiceTest, AFailedWriteIsNoFailure) {
    ASSERT_TRUE(QDir().mkdir(service.fileURL())); // no file can take its place
    answer(200, reply());
    const auto outcome = started(service.fetchConfig());
    pass(1);
    EXPECT_EQ(outcome->value, config);
    EXPECT_FALSE(service.cachedConfig());
}

TEST_F(RemoteConfigServiceTest, PeriodicRefreshOverDays) {
    std::vector<Seconds> fetches;
    machine.urlSession.setServer([&](const URLRequest&) {
        fetches.push_back(machine.timeline.uptime());
        return fetches.size() % 2 ? machine.urlSession.answer(200, reply(), 0)
                                  : machine.urlSession.answer(500, {}, 0);
    });
    int updates = 0;
    service.startPeriodicRefresh([&](const RemoteConfig& update) {
        EXPECT_TRUE(machine.worker.isCurrent());
        EXPECT_EQ(update, config);
        ++updates;
    });
    pass(7 * day);
    ASSERT_GT(fetches.size(), 7 * day / 2400 - 1);
    ASSERT_LT(fetches.size(), 7 * day / 1200 + 1);
    EXPECT_EQ(updates, int(fetches.size() + 1) / 2);
    Seconds shortest = day, longest = 0;
    for (std::size_t i = 0; i < fetches.size(); ++i) {
        const Seconds interval = fetches[i] - (i ? fetches[i - 1] : 0);
        shortest = std::min(shortest, interval);
        longest = std::max(longest, interval);
    }
    EXPECT_GE(shortest, 1200);
    EXPECT_LT(shortest, 1300);
    EXPECT_LE(longest, 2400);
    EXPECT_GT(longest, 2300);
}

TEST_F(RemoteConfigServiceTest, ALoopThatWasReplacedOrStoppedIsSilent) {
    answer(200, reply(), 10);
    int first = 0, second = 0;
    service.startPeriodicRefresh([&](const RemoteConfig&) { ++first; });
    // Replaced while its fetch is under way.
    while (machine.urlSession.requests.empty())
        pass(1);
    service.startPeriodicRefresh([&](const RemoteConfig&) { ++second; });
    pass(2500);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1) << "one loop only";
    EXPECT_EQ(machine.urlSession.requests.size(), 2u);
    // Stopped in its sleep, and in its fetch.
    service.stopPeriodicRefresh();
    pass(day);
    EXPECT_EQ(machine.urlSession.requests.size(), 2u);
    service.startPeriodicRefresh([&](const RemoteConfig&) { ++second; });
    while (machine.urlSession.requests.size() < 3)
        pass(1);
    service.stopPeriodicRefresh();
    pass(day);
    EXPECT_EQ(second, 1);
    EXPECT_EQ(machine.urlSession.requests.size(), 3u);
}

TEST_F(RemoteConfigServiceTest, AUserActionFallsIntoATimerFetch) {
    answer(200, reply(), 10);
    int updates = 0;
    service.startPeriodicRefresh([&](const RemoteConfig&) { ++updates; });
    while (machine.urlSession.requests.empty())
        pass(1);
    const auto joined = started(service.fetchConfig());
    pass(11);
    EXPECT_EQ(machine.urlSession.requests.size(), 1u);
    EXPECT_EQ(joined->value, config);
    EXPECT_EQ(updates, 1);
}

} // namespace
