#include "platform/linux/bus/LibsecretStore.h"

#include "PrivateBus.h"
#include "tests/support/LogCapture.h"

#include <QDBusObjectPath>

namespace {

using Status = SecretStore::Status;
using enum SecretStore::WhenLocked;

const QString service = "com.velmora.timetracker";
const QString account = "auth_tokens";

/// One bus for all: a process connects to its session bus once.
struct LibsecretStoreTest : testing::Test {
    static inline std::unique_ptr<PrivateBus> bus;
    BusService keyring{*bus, "org.freedesktop.secrets",
                       "gnome-keyring-daemon --unlock --foreground --components=secrets", "password\n"};

    static void SetUpTestSuite() { bus = std::make_unique<PrivateBus>(); }
    static void TearDownTestSuite() { bus.reset(); }
    void TearDown() override { keyring.stop(); }
};

// The first of all: this process has no bus yet.
TEST_F(LibsecretStoreTest, WhatWasCancelledBeforeItWasAskedIsNotMissing) {
    LibsecretStore store;
    store.cancel();
    EXPECT_EQ(store.read(service, account, askToUnlock).status, Status::failed);
}

TEST_F(LibsecretStoreTest, SecretsLiveInTheKeyringOrWithoutAServiceInThisProcessOnly) {
    for (const bool hasService : {false, true}) {
        if (hasService)
            keyring.start();
        const LogCapture log;
        const QByteArray secret = R"({"accessToken":"é \"quoted\""})";
        LibsecretStore store;
        EXPECT_EQ(store.read(service, account, askToUnlock).status, hasService ? Status::missing : Status::absent);
        store.add(service, account, "replaced");
        EXPECT_EQ(store.add(service, account, secret), Status::success);
        EXPECT_EQ(store.read(service, account, giveUp).value, secret);
        EXPECT_NE(store.read("elsewhere", account, giveUp).status, Status::success);
        EXPECT_EQ(LibsecretStore().read(service, account, giveUp).value, hasService ? secret : "");
        EXPECT_EQ(store.remove(service, account), Status::success);
        EXPECT_EQ(store.remove(service, account), Status::missing);
        EXPECT_EQ(log.count("kept in memory only"), hasService ? 0 : 2) << "a line each time";
    }
}

TEST_F(LibsecretStoreTest, AServiceThatComesLaterIsReadAndTakesOver) {
    LibsecretStore waiting, signedIn;
    EXPECT_EQ(waiting.read(service, account, askToUnlock).status, Status::absent);
    EXPECT_EQ(signedIn.add(service, account, "of this process"), Status::success);
    keyring.start();
    EXPECT_EQ(waiting.read(service, account, giveUp).status, Status::missing);
    EXPECT_EQ(LibsecretStore().add(service, account, "of an earlier one"), Status::success);
    EXPECT_EQ(waiting.read(service, account, giveUp).value, "of an earlier one");
    EXPECT_EQ(signedIn.read(service, account, giveUp).value, "of this process");
    EXPECT_EQ(waiting.read(service, account, giveUp).value, "of this process") << "moved";
    EXPECT_EQ(signedIn.remove(service, account), Status::success);
}

TEST_F(LibsecretStoreTest, AKeyringThatIsLockedOrGoneIsNeverTakenForAMissingItem) {
    keyring.start();
    LibsecretStore store;
    ASSERT_EQ(store.add(service, account, "secret"), Status::success);
    const QList login{QDBusObjectPath("/org/freedesktop/secrets/collection/login")};
    const auto answer = keyring.call("org.freedesktop.Secret.Service", "Lock", {QVariant::fromValue(login)});
    ASSERT_EQ(answer.type(), QDBusMessage::ReplyMessage);
    // Nobody is there to answer the prompt, which counts as refused.
    for (const auto whenLocked : {giveUp, askToUnlock})
        EXPECT_EQ(store.read(service, account, whenLocked).status, Status::locked);
    EXPECT_EQ(store.read(service, "never stored", giveUp).status, Status::locked);
    EXPECT_EQ(store.remove(service, account), Status::locked);
    EXPECT_NE(store.add(service, account, "another"), Status::success);
    keyring.stop();
    EXPECT_EQ(store.read(service, account, giveUp).status, Status::failed);
    EXPECT_EQ(store.add(service, account, "another"), Status::failed);
    keyring.start();
    EXPECT_EQ(store.read(service, account, giveUp).value, "secret");
}

} // namespace
