#pragma once

/// While it lives, every database of this process lies on a disk that can fail: a layer over the real files
/// that counts the calls which touch the disk and makes one of them, or all from one on, fail. One at a time;
/// one thread.
class FaultyDisk {
public:
    FaultyDisk();
    ~FaultyDisk();
    FaultyDisk(const FaultyDisk&) = delete;
    FaultyDisk& operator=(const FaultyDisk&) = delete;

    /// The call with this number, from 1 and counted anew, fails with the library's code.
    void failAt(int call, int code, bool andAllThatFollow);
    void heal();
    /// Calls that failed since `failAt`.
    int failures() const;
};
