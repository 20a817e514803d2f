#pragma once

/// While it lives, every database of this process lies on a disk that can fail: the calls which touch the
/// disk are counted, and one of them, or all from one on, fail. One at a time; one thread.
class FaultyDisk {
public:
    FaultyDisk();
    ~FaultyDisk();
    FaultyDisk(const FaultyDisk&) = delete;
    FaultyDisk& operator=(const FaultyDisk&) = delete;

    /// The call with this number, from 1 and counted anew, fails with the library's code; 0: none does.
    void failAt(int call, int code = 0, bool andAllThatFollow = false);
    /// Calls that failed since `failAt`.
    int failures() const;
};
