#pragma once

/// Keeps the memory of this process, which holds tokens and pictures, out of core files and out of the crash handlers
/// that the kernel pipes them to. Programs started from here inherit that. The soft limit alone changes, so that a
/// developer can allow a core file: `prlimit --core=unlimited --pid PID`. Called once, before other threads start.
void forbidCoreFiles();
