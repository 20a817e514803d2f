#include "SingleInstance.h"

#include "Eventually.h"

#include <QTemporaryDir>
#include <QThreadPool>
#include <atomic>
#include <gtest/gtest.h>
#include <latch>

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
    for (const QString& missing : {QString(), QStringLiteral("here"), home.filePath("gone")}) {
        qputenv("XDG_RUNTIME_DIR", missing.toUtf8());
        const auto instance = SingleInstance::acquire(home.filePath("config"));
        ASSERT_TRUE(instance);
        int activations = 0;
        instance->onActivationRequested([&] { ++activations; });
        EXPECT_FALSE(SingleInstance::acquire(home.filePath("config")));
        EXPECT_TRUE(eventually([&] { return activations == 1; })) << missing.toStdString();
    }
}
