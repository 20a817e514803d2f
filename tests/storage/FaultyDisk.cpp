#include "FaultyDisk.h"

#include <map>
#include <sqlite3.h>

namespace {

/// The methods of one kind of file, and those that they stand before.
struct Methods {
    sqlite3_io_methods failing;
    const sqlite3_io_methods* real;
};

sqlite3_vfs* realDisk = nullptr;
sqlite3_vfs faultyDisk;
std::map<const sqlite3_io_methods*, Methods> methodsOf;
int calls, failingCall, failureCode, failureCount;
bool isLasting;

/// SQLITE_OK, or the code with which the present call is to fail.
int fate() {
    ++calls;
    const bool fails = failingCall > 0 && (isLasting ? calls >= failingCall : calls == failingCall);
    failureCount += fails;
    return fails ? failureCode : SQLITE_OK;
}

template <auto Method, typename... Args>
int orFail(sqlite3_file* file, Args... args) {
    const int result = fate();
    const auto* methods = reinterpret_cast<const Methods*>(file->pMethods);
    return result == SQLITE_OK ? (methods->real->*Method)(file, args...) : result;
}

int openFile(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* file, int flags, int* outFlags) {
    file->pMethods = nullptr;
    if (fate() != SQLITE_OK)
        return SQLITE_CANTOPEN;
    const int result = realDisk->xOpen(realDisk, name, file, flags, outFlags);
    if (result != SQLITE_OK)
        return result;
    using M = sqlite3_io_methods;
    Methods& methods =
        methodsOf.try_emplace(file->pMethods, Methods{*file->pMethods, file->pMethods}).first->second;
    methods.failing.xRead = orFail<&M::xRead>;
    methods.failing.xWrite = orFail<&M::xWrite>;
    methods.failing.xTruncate = orFail<&M::xTruncate>;
    methods.failing.xSync = orFail<&M::xSync>;
    methods.failing.xFileSize = orFail<&M::xFileSize>;
    methods.failing.xShmMap = orFail<&M::xShmMap>;
    file->pMethods = &methods.failing;
    return SQLITE_OK;
}

} // namespace

FaultyDisk::FaultyDisk() {
    realDisk = sqlite3_vfs_find(nullptr);
    faultyDisk = *realDisk;
    faultyDisk.zName = "faulty";
    faultyDisk.xOpen = openFile;
    sqlite3_vfs_register(&faultyDisk, 1);
    failAt(0);
}

FaultyDisk::~FaultyDisk() {
    sqlite3_vfs_unregister(&faultyDisk);
    sqlite3_vfs_register(realDisk, 1);
}

void FaultyDisk::failAt(int call, int code, bool andAllThatFollow) {
    calls = 0;
    failureCount = 0;
    failingCall = call;
    failureCode = code;
    isLasting = andAllThatFollow;
}

int FaultyDisk::failures() const {
    return failureCount;
}
