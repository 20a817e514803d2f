#pragma once

#include <atomic>

/// Whether captures may be taken now: "com.velmora.timetracker.capture.state". Any thread. Capture cycles share it with the
/// engine, so they may ask it after the engine has ended.
class CaptureGate {
public:
    void set(bool isOpen) { isOpen_ = isOpen; }
    bool isOpen() const { return isOpen_; }

private:
    std::atomic<bool> isOpen_ = false;
};
