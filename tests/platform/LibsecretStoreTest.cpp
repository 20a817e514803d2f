#include "LibsecretStore.h"

#include "Eventually.h"
#include "LogCapture.h"
#include "PrivateBus.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDir>
#include <QDirIterator>
#include <future>
#include <gtest/gtest.h>

namespace {

using Status = SecretStore::Status;
using WhenLocked = SecretStore::WhenLocked;

const QString service = "com.velmora.timetracker";
const QString account = "auth_tokens";

/// One bus for all: a process connects to its session bus once.
struct LibsecretStoreTest : testing::Test {
    static inline std::unique_ptr<PrivateBus> bus;
    PrivateBus::Program keyring;

    static void SetUpTestSuite() {
        bus = std::make_unique<PrivateBus>();
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus->address().toUtf8());
    }
    static void TearDownTestSuite() {
        bus.reset();
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    }

    static bool isThere() {
        return bus->connection().interface()->isServiceRegistered("org.freedesktop.secrets");
    }
    void startKeyring() {
        keyring = bus->start("gnome-keyring-daemon", {"--unlock", "--foreground", "--components=secrets"},
                             "password\n");
        ASSERT_TRUE(eventually([] { return isThere(); }));
    }
    void endKeyring() {
        keyring.reset();
        ASSERT_TRUE(eventually([] { return !isThere(); }));
    }
    void TearDown() override {
        if (bus)
            endKeyring();
    }

    static void lock() {
        auto call = QDBusMessage::createMethodCall("org.freedesktop.secrets", "/org/freedesktop/secrets",
                                                   "org.freedesktop.Secret.Service", "Lock");
        const QList<QDBusObjectPath> all{QDBusObjectPath("/org/freedesktop/secrets/collection/login")};
        call << QVariant::fromValue(all);
        ASSERT_EQ(bus->connection().call(call).type(), QDBusMessage::ReplyMessage);
    }
};

TEST_F(LibsecretStoreTest, WithoutAServiceSecretsLiveInTheMemoryOfThisProcess) {
    const LogCapture log;
    LibsecretStore store;
    EXPECT_EQ(store.read(service, account, WhenLocked::askToUnlock).status, Status::missing);
    EXPECT_EQ(store.remove(service, account), Status::missing);
    EXPECT_EQ(store.add(service, account, "first"), Status::success);
    EXPECT_EQ(store.add(service, account, "second"), Status::success);
    EXPECT_EQ(store.add(service, "other", "third"), Status::success);
    EXPECT_EQ(store.read(service, account, WhenLocked::giveUp).value, "second");
    EXPECT_EQ(store.remove(service, account), Status::success);
    EXPECT_EQ(store.read(service, account, WhenLocked::giveUp).status, Status::missing);
    EXPECT_EQ(store.read(service, "other", WhenLocked::giveUp).value, "third");
    EXPECT_EQ(log.count("kept in memory only"), 1);
    EXPECT_EQ(log.lines().size(), 1);
}

TEST_F(LibsecretStoreTest, SecretsOutliveTheStoreInTheKeyring) {
    startKeyring();
    const QByteArray secret = R"({"accessToken":"é \"quoted\""})";
    {
        LibsecretStore store;
        EXPECT_EQ(store.read(service, account, WhenLocked::askToUnlock).status, Status::missing);
        EXPECT_EQ(store.add(service, account, "replaced"), Status::success);
        EXPECT_EQ(store.add(service, account, secret), Status::success);
        EXPECT_EQ(store.add(service, "other", "kept"), Status::success);
    }
    LibsecretStore store;
    const auto found = store.read(service, account, WhenLocked::giveUp);
    EXPECT_EQ(found.status, Status::success);
    EXPECT_EQ(found.value, secret);
    EXPECT_EQ(store.read("elsewhere", account, WhenLocked::giveUp).status, Status::missing);
    EXPECT_EQ(store.remove(service, account), Status::success);
    EXPECT_EQ(store.remove(service, account), Status::missing);
    EXPECT_EQ(store.read(service, account, WhenLocked::giveUp).status, Status::missing);
    EXPECT_EQ(store.read(service, "other", WhenLocked::giveUp).value, "kept");
    EXPECT_EQ(store.remove(service, "other"), Status::success);
}

TEST_F(LibsecretStoreTest, ALockedKeyringIsNeverTakenForAMissingItem) {
    startKeyring();
    LibsecretStore store;
    ASSERT_EQ(store.add(service, account, "secret"), Status::success);
    lock();
    // Nobody is there to answer the prompt, which counts as refused.
    for (const auto whenLocked : {WhenLocked::giveUp, WhenLocked::askToUnlock}) {
        EXPECT_EQ(store.read(service, account, whenLocked).status, Status::locked);
        EXPECT_EQ(store.read(service, "never stored", whenLocked).status, Status::locked);
    }
    EXPECT_EQ(store.remove(service, account), Status::locked);
    EXPECT_NE(store.add(service, account, "another"), Status::success);

    endKeyring();
    startKeyring();
    EXPECT_EQ(LibsecretStore().read(service, account, WhenLocked::giveUp).value, "secret");
    EXPECT_EQ(LibsecretStore().remove(service, account), Status::success);
}

TEST_F(LibsecretStoreTest, AServiceThatDiesFailsAndIsFoundAgain) {
    startKeyring();
    LibsecretStore store;
    ASSERT_EQ(store.add(service, account, "secret"), Status::success);
    endKeyring();
    {
        const LogCapture log;
        EXPECT_EQ(store.read(service, account, WhenLocked::askToUnlock).status, Status::failed);
        EXPECT_EQ(store.add(service, account, "token-canary"), Status::failed);
        EXPECT_EQ(store.remove(service, account), Status::failed);
        EXPECT_FALSE(log.contains("canary"));
    }
    startKeyring();
    EXPECT_EQ(store.read(service, account, WhenLocked::askToUnlock).value, "secret");
    store.cancel();
    EXPECT_EQ(store.read(service, account, WhenLocked::askToUnlock).status, Status::failed);
}

TEST_F(LibsecretStoreTest, ALostBusIsAFailureAndNotTheEndOfTheProcess) {
    startKeyring();
    LibsecretStore store;
    ASSERT_EQ(store.add(service, account, "secret"), Status::success);
    bus.reset();
    EXPECT_TRUE(eventually(
        [&] { return store.read(service, account, WhenLocked::giveUp).status == Status::failed; }));
    EXPECT_FALSE(eventually([] { return false; }, 1)) << "the loss reaches the event loop";
}

} // namespace
