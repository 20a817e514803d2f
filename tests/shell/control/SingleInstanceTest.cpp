#include "shell/control/SingleInstance.h"

#include "tests/support/Eventually.h"

#include <QDir>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QThreadPool>
#include <atomic>
#include <gtest/gtest.h>
#include <latch>
#include <optional>
#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

/// Who this process takes itself for, when it is not who it is.
static std::optional<uid_t> claimedUser;

/// Instead of the C library's.
extern "C" uid_t geteuid() noexcept {
    return claimedUser.value_or(static_cast<uid_t>(syscall(SYS_geteuid)));
}

TEST(SingleInstance, OfStartsAtOnceOneWinsInEachHome) {
    const QTemporaryDir runtime, home;
    qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
    QThreadPool threads;
    threads.setMaxThreadCount(4);
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> winners = 0;
        std::latch decided(4);
        for (int i = 0; i < 4; ++i)
            threads.start([&] {
                const auto instance = SingleInstance::acquire(home.filePath("config"));
                winners += instance != nullptr;
                decided.arrive_and_wait();
            });
        threads.waitForDone();
        ASSERT_EQ(winners, 1);
    }
    const auto instance = SingleInstance::acquire(home.filePath("config"));
    EXPECT_TRUE(instance && SingleInstance::acquire(home.filePath("other")));
}

TEST(SingleInstance, ALaterStartCallsTheFirstAlsoWithoutARuntimeFolder) {
    const QTemporaryDir home;
    for (const QString& missing : {QString(), u"here"_s, home.filePath("gone")}) {
        qputenv("XDG_RUNTIME_DIR", missing.toUtf8());
        const auto instance = SingleInstance::acquire(home.filePath("config"));
        ASSERT_TRUE(instance);
        int activations = 0;
        instance->onActivationRequested([&] { ++activations; });
        EXPECT_FALSE(SingleInstance::acquire(home.filePath("config")));
        EXPECT_TRUE(eventually([&] { return activations == 1; })) << missing.toStdString();
    }
}

TEST(SingleInstance, ACallOfAnotherUserIsIgnored) {
    const QTemporaryDir runtime, home;
    qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
    const auto instance = SingleInstance::acquire(home.filePath("config"));
    ASSERT_TRUE(instance);
    int activations = 0;
    instance->onActivationRequested([&] { ++activations; });
    const QStringList sockets = QDir(runtime.path()).entryList({"*.socket"}, QDir::System);
    ASSERT_EQ(sockets.size(), 1);
    const auto call = [&](std::optional<uid_t> receiver) {
        claimedUser = receiver;
        QLocalSocket caller;
        caller.connectToServer(runtime.filePath(sockets[0]));
        EXPECT_TRUE(eventually([&] { return caller.state() == QLocalSocket::UnconnectedState; }));
        claimedUser.reset();
    };
    call(geteuid() + 1);
    EXPECT_EQ(activations, 0);
    call(std::nullopt);
    EXPECT_EQ(activations, 1);
}
