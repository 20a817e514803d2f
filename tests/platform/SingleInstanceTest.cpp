#include "SingleInstance.h"

#include "Eventually.h"

#include <QDir>
#include <QFileInfo>
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
        start(PLATFORM_CHILD, {"one", configurationFolder});
    }
    ~Start() override {
        kill();
        waitForFinished();
    }
    bool says(const QByteArray& line, int times = 1) {
        return eventually([&] { return (said += readAllStandardOutput()).count(line + '\n') >= times; });
    }
};

struct SingleInstanceTest : testing::Test {
    const QTemporaryDir runtime, home;
    const QString configuration = home.filePath("config");

    SingleInstanceTest() { qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8()); }
    ~SingleInstanceTest() override { qunsetenv("XDG_RUNTIME_DIR"); }

    QByteArray socket() const {
        const QString name = QDir(runtime.path()).entryList({"*.socket"}, QDir::System).value(0);
        return QFile::encodeName(runtime.filePath(name));
    }
    /// Connects as a user, and waits until the server is done with it. The system call is for one thread
    /// only.
    bool connectAs(uid_t user) const {
        const QByteArray path = socket();
        const int peer = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        bool connected = false;
        std::thread([&] {
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
            connected = (user == geteuid() || syscall(SYS_setresuid, -1, user, -1) == 0) &&
                        connect(peer, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        }).join();
        char byte;
        const bool done = connected && eventually([&] { return recv(peer, &byte, 1, 0) == 0; });
        close(peer);
        return done;
    }
};

TEST_F(SingleInstanceTest, OfTwoStartsAtOnceOneWinsAndTheOtherCallsItAlsoAfterACrash) {
    for (int round = 0; round < 10; ++round) { // each ends by a kill, which leaves its socket behind
        Start one(configuration), other(configuration);
        ASSERT_TRUE(
            eventually([&] { return one.state() != other.state() && one.state() + other.state() == 2; }));
        Start& winner = one.state() == QProcess::NotRunning ? other : one;
        Start& loser = &winner == &one ? other : one;
        EXPECT_TRUE(loser.says("second"));
        EXPECT_EQ(loser.exitCode(), 0);
        EXPECT_TRUE(winner.says("first") && winner.says("activated"));
        Start third(configuration), elsewhere(home.filePath("other config"));
        EXPECT_TRUE(third.says("second") && winner.says("activated", 2));
        EXPECT_TRUE(elsewhere.says("first")) << "another home is another program";
    }
}

TEST_F(SingleInstanceTest, NobodyElseReachesIt) {
    const mode_t before = umask(0);
    int activations = 0;
    const auto instance = SingleInstance::acquire(configuration);
    umask(before);
    ASSERT_TRUE(instance);
    instance->onActivationRequested([&] { ++activations; });
    for (const QByteArray& path : {QFile::encodeName(configuration), socket()})
        EXPECT_FALSE(QFileInfo(path).permissions() & QFile::Permissions(0x77)) << path.constData();
    if (geteuid() == 0) {
        // Even where the files would let them in.
        ASSERT_EQ(chmod(socket().constData(), 0777) +
                      chmod(QFile::encodeName(runtime.path()).constData(), 0755),
                  0);
        EXPECT_TRUE(connectAs(65534));
    }
    EXPECT_EQ(activations, 0);
    EXPECT_TRUE(connectAs(geteuid()));
    EXPECT_EQ(activations, 1) << "only one's own start is heard";
}

} // namespace
