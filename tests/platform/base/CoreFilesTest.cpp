#include "platform/linux/base/CoreFiles.h"

#include <QDir>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

TEST(CoreFiles, ACrashWritesNoneWhateverTheUsersLimit) {
    const QTemporaryDir folder;
    const pid_t crashing = fork();
    if (crashing == 0) {
        rlimit limit{};
        getrlimit(RLIMIT_CORE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_CORE, &limit);
        forbidCoreFiles();
        getrlimit(RLIMIT_CORE, &limit);
        if (limit.rlim_cur != std::min<rlim_t>(1, limit.rlim_max) || chdir(qPrintable(folder.path())) != 0)
            _exit(1); // a handler behind a pipe would get the dump
        std::signal(SIGABRT, SIG_DFL);
        std::abort();
    }
    int status = 0;
    ASSERT_EQ(waitpid(crashing, &status, 0), crashing);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_FALSE(WCOREDUMP(status));
    EXPECT_TRUE(QDir(folder.path()).isEmpty());
}
