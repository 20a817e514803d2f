#include "SingleInstance.h"

#include "Eventually.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

struct Start : QProcess {
    QByteArray said;

    explicit Start(const QString& configurationFolder) {
        setProcessChannelMode(ForwardedErrorChannel);
        start(PLATFORM_CHILD, {configurationFolder});
    }
    ~Start() override {
        kill();
        waitForFinished();
    }
    bool says(const QByteArray& line, int times = 1) {
        return eventually([&] {
            said += readAllStandardOutput();
            return said.count(line + '\n') >= times;
        });
    }
};

struct SingleInstanceTest : testing::Test {
    const QTemporaryDir runtime;
    const QTemporaryDir home;
    const QString configuration = home.filePath("config");
    const QByteArray runtimeBefore = qgetenv("XDG_RUNTIME_DIR");

    SingleInstanceTest() { qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8()); }
    ~SingleInstanceTest() override { qputenv("XDG_RUNTIME_DIR", runtimeBefore); }

    QString socket() const {
        const QStringList found = QDir(runtime.path()).entryList({"*.socket"}, QDir::System);
        return found.isEmpty() ? QString() : runtime.filePath(found.first());
    }
};

TEST_F(SingleInstanceTest, OfTwoStartsAtOnceOneWinsAndTheOtherCallsIt) {
    for (int round = 0; round < 20; ++round) {
        Start one(configuration);
        Start other(configuration);
        ASSERT_TRUE(eventually(
            [&] { return one.state() == QProcess::NotRunning || other.state() == QProcess::NotRunning; }));
        Start& winner = one.state() == QProcess::NotRunning ? other : one;
        Start& loser = &winner == &one ? other : one;
        EXPECT_TRUE(loser.says("second"));
        EXPECT_EQ(loser.exitCode(), 0);
        EXPECT_TRUE(winner.says("first") && winner.says("activated"));
        EXPECT_EQ(winner.state(), QProcess::Running);
    }
}

TEST_F(SingleInstanceTest, ACrashLeavesNothingThatBlocksTheNextStart) {
    {
        Start crashed(configuration);
        ASSERT_TRUE(crashed.says("first"));
    }
    ASSERT_FALSE(socket().isEmpty()) << "a killed process leaves its socket behind";
    Start next(configuration);
    ASSERT_TRUE(next.says("first"));
    for (int times = 1; times <= 3; ++times) {
        Start later(configuration);
        EXPECT_TRUE(later.says("second"));
        EXPECT_TRUE(next.says("activated", times));
    }
    Start elsewhere(home.filePath("other config"));
    EXPECT_TRUE(elsewhere.says("first")) << "another home is another program";
}

TEST_F(SingleInstanceTest, NobodyElseReachesIt) {
    const mode_t before = umask(0);
    int activations = 0;
    const auto instance = SingleInstance::acquire(configuration);
    umask(before);
    ASSERT_TRUE(instance);
    instance->onActivationRequested([&] { ++activations; });
    struct stat status {};
    for (const QString& path : {configuration, socket()}) {
        ASSERT_EQ(stat(QFile::encodeName(path).constData(), &status), 0);
        EXPECT_EQ(status.st_mode & 077, 0) << path.toStdString();
    }

    const auto connectAs = [&](uid_t user) {
        bool connected = false;
        std::thread([&] { // the system call changes the user of this one thread
            if (user != geteuid() && syscall(SYS_setresuid, -1, user, -1) != 0)
                return;
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            qstrncpy(address.sun_path, QFile::encodeName(socket()).constData(), sizeof address.sun_path);
            const int peer = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
            connected = connect(peer, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
            close(peer);
        })
            .join();
        return connected;
    };
    constexpr uid_t stranger = 65534;
    if (geteuid() == 0) {
        EXPECT_FALSE(connectAs(stranger));
        // Even where the files would let them in.
        ASSERT_EQ(chmod(QFile::encodeName(socket()).constData(), 0777), 0);
        ASSERT_EQ(chmod(QFile::encodeName(runtime.path()).constData(), 0755), 0);
        const QString found = socket();
        EXPECT_TRUE(connectAs(stranger));
    }
    EXPECT_TRUE(connectAs(geteuid()));
    EXPECT_TRUE(eventually([&] { return activations > 0; }));
    EXPECT_EQ(activations, 1) << "only one's own start is heard";
}

} // namespace
