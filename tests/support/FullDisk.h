#pragma once

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

/// A disk without room: as long as it lives, no file of this process grows beyond `limit` bytes.
struct FullDisk {
    explicit FullDisk(rlim_t limit) {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit now{limit, before.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &now), 0);
    }
    ~FullDisk() { ::setrlimit(RLIMIT_FSIZE, &before); }
    rlimit before = {};
};
