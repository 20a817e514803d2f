#include "LibsecretStore.h"

#include "Eventually.h"
#include "KeychainService.h"
#include "LogCapture.h"
#include "PrivateBus.h"
#include "RequestTokens.h"
#include "URLSession.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <gtest/gtest.h>

namespace {

using Status = SecretStore::Status;
using enum SecretStore::WhenLocked;

const QString service = "com.velmora.timetracker";
const QString account = "auth_tokens";

/// One bus for all: a process connects to its session bus once.
struct LibsecretStoreTest : testing::Test {
    static inline std::unique_ptr<PrivateBus> bus;
    Program keyring;

    static void SetUpTestSuite() { bus = std::make_unique<PrivateBus>(); }
    static void TearDownTestSuite() { bus.reset(); }
    void TearDown() override { endKeyring(); }
    void startKeyring() {
        keyring = startProgram("gnome-keyring-daemon", {"--unlock", "--foreground", "--components=secrets"},
                               "password\n");
        ASSERT_TRUE(eventually([] { return bus->has("org.freedesktop.secrets"); }));
    }
    void endKeyring() {
        keyring.reset();
        ASSERT_TRUE(eventually([] { return !bus->has("org.freedesktop.secrets"); }));
    }
    static void lock() {
        auto call = QDBusMessage::createMethodCall("org.freedesktop.secrets", "/org/freedesktop/secrets",
                                                   "org.freedesktop.Secret.Service", "Lock");
        call << QVariant::fromValue(QList{QDBusObjectPath("/org/freedesktop/secrets/collection/login")});
        ASSERT_EQ(bus->connection().call(call).type(), QDBusMessage::ReplyMessage);
    }
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
            startKeyring();
        const LogCapture log;
        const QByteArray secret = R"({"accessToken":"é \"quoted\""})";
        LibsecretStore store;
        EXPECT_EQ(store.read(service, account, askToUnlock).status, Status::missing);
        store.add(service, account, "replaced");
        EXPECT_EQ(store.add(service, account, secret), Status::success);
        EXPECT_EQ(store.read(service, account, giveUp).value, secret);
        EXPECT_EQ(store.read("elsewhere", account, giveUp).status, Status::missing);
        EXPECT_EQ(LibsecretStore().read(service, account, giveUp).value, hasService ? secret : "");
        EXPECT_EQ(store.remove(service, account), Status::success);
        EXPECT_EQ(store.remove(service, account), Status::missing);
        EXPECT_EQ(log.count("kept in memory only"), hasService ? 0 : 2) << "a line for each store";
    }
}

TEST_F(LibsecretStoreTest, ALockedKeyringIsNeverTakenForAMissingItem) {
    startKeyring();
    LibsecretStore store;
    ASSERT_EQ(store.add(service, account, "secret"), Status::success);
    lock();
    // Nobody is there to answer the prompt, which counts as refused.
    for (const auto whenLocked : {giveUp, askToUnlock})
        EXPECT_EQ(store.read(service, account, whenLocked).status, Status::locked);
    EXPECT_EQ(store.read(service, "never stored", giveUp).status, Status::locked);
    EXPECT_EQ(store.remove(service, account), Status::locked);
    EXPECT_NE(store.add(service, account, "another"), Status::success);
    endKeyring();
    startKeyring();
    EXPECT_EQ(LibsecretStore().read(service, account, giveUp).value, "secret");
}

TEST_F(LibsecretStoreTest, RequestsOfALockedKeyringAreOfflineAndAskOnce) {
    startKeyring();
    LibsecretStore store;
    int asked = 0;
    KeychainService keychain(store, [&asked] { ++asked; });
    const auto isOffline = [&keychain] {
        try {
            requestTokens(keychain);
            return false;
        } catch (const URLError& error) {
            return error.isOffline();
        }
    };
    keychain.saveAuthTokens({"access", "refresh", {}, {}, {}, {}});
    EXPECT_EQ(requestTokens(keychain)->accessToken, "access");
    lock();
    EXPECT_TRUE(isOffline() && isOffline());
    EXPECT_EQ(asked, 1);
    EXPECT_FALSE(keychain.readAuthTokens(askToUnlock).isDefinite) << "the prompt is refused";
    EXPECT_TRUE(isOffline());
    endKeyring();
    EXPECT_TRUE(isOffline());
    EXPECT_EQ(store.add(service, account, "token"), Status::failed);
    startKeyring();
    EXPECT_EQ(requestTokens(keychain)->accessToken, "access");
    lock();
    EXPECT_TRUE(isOffline());
    EXPECT_EQ(asked, 2) << "a lock of its own";
}

} // namespace
