#include "platform/PrivateFiles.h"
#include "storage/KeychainService.h"
#include "storage/PreferenceStores.h"
#include "tests/support/StoreWorld.h"

#include <QSet>
#include <atomic>
#include <thread>

TEST(ApplicationFolder, IsPrivateWhateverTheMaskAndWhateverItWas) {
    for (const mode_t mask : {0000, 0377}) {
        const QTemporaryDir directory;
        const QString own = directory.filePath("share/Velmora TimeTracker");
        const mode_t before = ::umask(mask);
        EXPECT_TRUE(PrivateFiles::create(own + "/captures/acme.test/"));
        ::umask(before);
        for (const char* level : {"/..", "", "/captures", "/captures/acme.test"}) {
            EXPECT_EQ(modeOf(own + level), 0700U) << level << " mask " << mask;
            ASSERT_EQ(::chmod(QFile::encodeName(own + level).constData(), 0755), 0);
        }
        EXPECT_TRUE(PrivateFiles::create(own + "/captures"));
        EXPECT_EQ(modeOf(own + "/.."), 0755U) << "the user's own business";
        EXPECT_TRUE(modeOf(own) == 0700 && modeOf(own + "/captures") == 0700);
        overwrite(own + "/file", "in the way");
        EXPECT_FALSE(PrivateFiles::create(own + "/file/below"));
    }
}

TEST(DomainStorage, BuildsAnApiRootOfAnEndpoint) {
    const std::pair<const char*, const char*> cases[] = {
        {"acme.test", "https://acme.test/api/v1/"},
        {" \tacme.test/api/v1\n", "https://acme.test/api/v1/"},
        {"http://acme.test:8080/hr", "http://acme.test:8080/hr/api/v1/"},
        {"two words", ""},
        {"acme.test:99999", ""},
    };
    for (const auto& [endpoint, root] : cases)
        EXPECT_EQ(DomainStorage::buildBaseURL(endpoint).value_or(QUrl()).toString(), root) << endpoint;
}

TEST(DomainStorage, NamesCompanyAndUserInItsKey) {
    MemoryPreferenceStore preferences;
    DomainStorage domain(preferences);
    for (const char* noCompany : {"", "https://[broken", "/no/host"}) {
        preferences.set(PreferenceKey::apiBaseURL, noCompany);
        EXPECT_TRUE(domain.domainKey() == "global" && !domain.hasCompany()) << noCompany;
    }
    const struct {
        const char *url, *user, *key, *unowned;
    } cases[] = {
        {"https://acme.test/api/v1/", "", "acme.test", ""},
        {"https://acme.test/api/v1/", " Jane@Acme.test ", "acme.test jane@acme.test", "acme.test"},
        {"https://u:pw@acme.test:99/a%20b/api/v1/", "j", "acme.test:99/a%20b j", "acme.test:99/a%20b|acme.test"},
    };
    for (const auto& [url, user, key, unowned] : cases) {
        domain.setBaseURL(QUrl(url));
        domain.setUser(user);
        EXPECT_EQ(domain.domainKey(), key);
        EXPECT_EQ(domain.unownedDomainKeys().join('|'), unowned);
    }
    domain.setBaseURL({});
    EXPECT_FALSE(domain.hasUser());
}

TEST(DomainStorage, NamesNoCompanyWithoutItsUserWhileItIsLeft) {
    MemoryPreferenceStore preferences;
    DomainStorage domain(preferences);
    std::atomic<bool> isDone = false;
    std::thread comesAndGoes([&] {
        for (int time = 0; time < 20000; ++time) {
            domain.setUser("jane");
            domain.setBaseURL(QUrl("https://acme.test/api/v1/"));
            domain.setBaseURL({});
        }
        isDone = true;
    });
    QSet<QString> keys;
    while (!isDone)
        keys += domain.domainKey();
    comesAndGoes.join();
    EXPECT_EQ(keys - QSet<QString>({"global", "acme.test jane"}), QSet<QString>());
}

TEST(KeychainService, KeepsOneItemAndTellsALockFromNothing) {
    MemorySecretStore secrets;
    int asked = 0;
    KeychainService keychain(secrets, [&] { ++asked; });
    AuthTokens tokens{"access", "refresh", Date::since2001(1), Date::since2001(2), "r1", "r2"};
    const auto expect = [&](const std::optional<AuthTokens>& found, bool isDefinite) {
        const auto answer = keychain.readAuthTokens(SecretStore::WhenLocked::giveUp);
        EXPECT_TRUE(answer.tokens == found && answer.isDefinite() == isDefinite);
    };
    expect({}, true);
    keychain.saveAuthTokens(tokens);
    tokens.accessToken = "second";
    keychain.saveAuthTokens(tokens);
    expect(tokens, true);
    secrets.isLocked = true;
    expect({}, false);
    EXPECT_EQ(secrets.prompts, 0);
    secrets.unlocksWhenAsked = true;
    EXPECT_EQ(keychain.getAuthTokens(), tokens) << "after the prompt";
    secrets.isBroken = true;
    EXPECT_FALSE(keychain.getAuthTokens());
    expect({}, false);
    EXPECT_EQ(asked, 1);
    secrets.isBroken = false;
    secrets.isLocked = true;
    expect({}, false);
    expect({}, false);
    EXPECT_EQ(asked, 2) << "once, though it was to be asked while it was broken";
    secrets.isLocked = false;
    keychain.deleteAuthTokens();
    expect({}, true);
    secrets.add("com.velmora.timetracker", "auth_tokens", "{\"accessToken\":\"x\"}");
    expect({}, true);
}
