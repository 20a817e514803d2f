#pragma once

/// Keeps the memory of this process, which holds tokens and pictures, out of core files and out of the crash handlers
/// that the kernel pipes them to. Child processes inherit this. Changes only the soft limit, so that a developer can
/// allow a core file: `prlimit --core=unlimited --pid PID`. Call it once, before other threads start.
void forbidCoreFiles();
