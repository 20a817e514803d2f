#pragma once

#include "platform/Platform.h"

#include <memory>

/// Owns every service of the operating system that the program uses. Construct it on the main thread after the
/// QCoreApplication; that thread's event loop is the main executor. Threads start at their first use.
class LinuxPlatform {
public:
    LinuxPlatform();
    ~LinuxPlatform();
    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    /// `desktop` is implemented by the shell and outlives the users of the platform.
    Platform platform(Desktop& desktop);

    /// Call it when the desktop session ends (QGuiApplication::commitDataRequest): runs `willTerminate`, then ends the
    /// application.
    void sessionIsEnding();

    /// Ends all background work: cancels HTTP exchanges, makes pending keyring reads return, and stops each thread
    /// after its current job. Call it after the event loop has ended and before the users of the platform are
    /// destroyed.
    void stop();

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};
