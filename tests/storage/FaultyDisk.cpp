#include "FaultyDisk.h"

#include <new>
#include <sqlite3.h>

namespace {

struct Plan {
    sqlite3_vfs* real = nullptr;
    int calls = 0;
    int failingCall = 0;
    int code = SQLITE_IOERR;
    bool isLasting = false;
    int failures = 0;
} plan;

/// SQLITE_OK, or the code with which the present call is to fail.
int fate() {
    ++plan.calls;
    const bool fails = plan.failingCall > 0 &&
                       (plan.isLasting ? plan.calls >= plan.failingCall : plan.calls == plan.failingCall);
    plan.failures += fails ? 1 : 0;
    return fails ? plan.code : SQLITE_OK;
}

struct File {
    sqlite3_file base;
    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

sqlite3_file* realFile(sqlite3_file* file) {
    return reinterpret_cast<File*>(file)->real();
}

/// Hands a call on to the real file, unless it is to fail.
template <auto Method, bool CanFail, typename... Args>
int handOn(sqlite3_file* file, Args... args) {
    const int result = CanFail ? fate() : SQLITE_OK;
    sqlite3_file* real = realFile(file);
    return result != SQLITE_OK ? result : (real->pMethods->*Method)(real, args...);
}

using M = sqlite3_io_methods;
constexpr M methods = {
    .iVersion = 2,
    .xClose = handOn<&M::xClose, false>,
    .xRead = handOn<&M::xRead, true>,
    .xWrite = handOn<&M::xWrite, true>,
    .xTruncate = handOn<&M::xTruncate, true>,
    .xSync = handOn<&M::xSync, true>,
    .xFileSize = handOn<&M::xFileSize, true>,
    .xLock = handOn<&M::xLock, false>,
    .xUnlock = handOn<&M::xUnlock, false>,
    .xCheckReservedLock = handOn<&M::xCheckReservedLock, false>,
    .xFileControl = handOn<&M::xFileControl, false>,
    .xSectorSize = handOn<&M::xSectorSize, false>,
    .xDeviceCharacteristics = handOn<&M::xDeviceCharacteristics, false>,
    .xShmMap = handOn<&M::xShmMap, true>,
    .xShmLock = handOn<&M::xShmLock, false>,
    .xShmBarrier = [](sqlite3_file* file) { realFile(file)->pMethods->xShmBarrier(realFile(file)); },
    .xShmUnmap = handOn<&M::xShmUnmap, false>,
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

int openFile(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* file, int flags, int* outFlags) {
    file->pMethods = nullptr;
    const int planned = fate();
    const int result = planned == SQLITE_OK
                           ? plan.real->xOpen(plan.real, name, realFile(file), flags, outFlags)
                           : SQLITE_CANTOPEN;
    file->pMethods = result == SQLITE_OK ? &methods : nullptr;
    return result;
}

sqlite3_vfs& faulty() {
    static sqlite3_vfs vfs;
    return vfs;
}

} // namespace

FaultyDisk::FaultyDisk() {
    plan = {};
    plan.real = sqlite3_vfs_find(nullptr);
    faulty() = *plan.real;
    faulty().zName = "faulty";
    faulty().szOsFile = static_cast<int>(sizeof(File)) + plan.real->szOsFile;
    faulty().xOpen = openFile;
    sqlite3_vfs_register(&faulty(), 1);
}

FaultyDisk::~FaultyDisk() {
    sqlite3_vfs_unregister(&faulty());
    sqlite3_vfs_register(plan.real, 1);
}

void FaultyDisk::failAt(int call, int code, bool andAllThatFollow) {
    plan.calls = 0;
    plan.failures = 0;
    plan.failingCall = call;
    plan.code = code;
    plan.isLasting = andAllThatFollow;
}

void FaultyDisk::heal() {
    plan.failingCall = 0;
}

int FaultyDisk::failures() const {
    return plan.failures;
}
