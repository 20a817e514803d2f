#include "platform/linux/base/CoreFiles.h"

#include <algorithm>
#include <sys/resource.h>

void forbidCoreFiles() {
    rlimit limit{};
    getrlimit(RLIMIT_CORE, &limit);
    // Too small for a file. A handler behind a pipe would run even with a limit of 0, but the kernel dumps nothing at
    // all with a limit of exactly 1.
    limit.rlim_cur = std::min<rlim_t>(1, limit.rlim_max);
    setrlimit(RLIMIT_CORE, &limit); // cannot fail: not above the hard limit
}
