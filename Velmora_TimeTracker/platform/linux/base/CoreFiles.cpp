#include "platform/linux/base/CoreFiles.h"

#include <algorithm>
#include <sys/resource.h>

void forbidCoreFiles() {
    rlimit limit{};
    getrlimit(RLIMIT_CORE, &limit);
    // Too small for a file. With a limit of 0 a piped crash handler would still run; with exactly 1 the kernel dumps
    // nothing.
    limit.rlim_cur = std::min<rlim_t>(1, limit.rlim_max);
    setrlimit(RLIMIT_CORE, &limit); // cannot fail: not above the hard limit
}
