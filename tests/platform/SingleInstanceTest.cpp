#include "SingleInstance.h"

#include "Eventually.h"

#include <QDir>
#include <QTemporaryDir>
#include <atomic>
#include <csignal>
#include <gmock/gmock.h>
#include <latch>
#include <sys/stat.h>

namespace {

struct SingleInstanceDeathTest : testing::Test {
    const QTemporaryDir runtime, home;
    const QString configuration = home.filePath("config");

    SingleInstanceDeathTest() { qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8()); }

    void crash() const {
        const auto instance = SingleInstance::acquire(configuration);
        std::raise(SIGKILL);
    }
};

TEST_F(SingleInstanceDeathTest, OfStartsAtOnceOneWins) {
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> winners = 0;
        std::latch decided(4);
        std::unique_ptr<QThread> starts[4];
        for (auto& thread : starts) {
            thread.reset(QThread::create([&] {
                const auto instance = SingleInstance::acquire(configuration);
                winners += instance != nullptr;
                decided.arrive_and_wait();
            }));
            thread->start();
        }
        for (const auto& thread : starts)
            thread->wait();
        ASSERT_EQ(winners, 1);
    }
}

TEST_F(SingleInstanceDeathTest, TheNextStartCallsTheOneBeforeAlsoAfterACrashByASocketOfTheUsersOwn) {
    EXPECT_EXIT(crash(), testing::KilledBySignal(SIGKILL), "");
    const mode_t before = umask(0);
    const auto instance = SingleInstance::acquire(configuration);
    umask(before);
    ASSERT_TRUE(instance);
    int activations = 0;
    instance->onActivationRequested([&] { ++activations; });
    EXPECT_FALSE(SingleInstance::acquire(configuration));
    EXPECT_TRUE(eventually([&] { return activations == 1; }));
    EXPECT_TRUE(SingleInstance::acquire(home.filePath("other"))) << "another home is another program";
    const auto sockets = QDir(runtime.path()).entryInfoList({"*.socket"}, QDir::System);
    ASSERT_EQ(sockets.size(), 1);
    EXPECT_FALSE(sockets[0].permissions() & QFile::Permissions(0x77));
}

TEST_F(SingleInstanceDeathTest, WithoutARuntimeFolderTheNextStartIsHeardToo) {
    for (const QString& missing : {QString(), QStringLiteral("here"), runtime.filePath("gone")}) {
        qputenv("XDG_RUNTIME_DIR", missing.toUtf8());
        const auto instance = SingleInstance::acquire(configuration);
        ASSERT_TRUE(instance);
        int activations = 0;
        instance->onActivationRequested([&] { ++activations; });
        EXPECT_FALSE(SingleInstance::acquire(configuration));
        EXPECT_TRUE(eventually([&] { return activations == 1; })) << missing.toStdString();
    }
}

} // namespace
