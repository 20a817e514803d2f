#pragma once

#include "platform/Platform.h"

#include <memory>

/// The real world: owns every service of the operating system that the program uses. Constructed on the main
/// thread after the QCoreApplication; the constructing thread's event loop is the main executor. Threads
/// start at their first use.
class LinuxPlatform {
public:
    LinuxPlatform();
    ~LinuxPlatform();
    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    /// `desktop` is the shell's; it outlives what is built on the bundle.
    Platform platform(Desktop& desktop);

    /// To be called when the desktop session ends (QGuiApplication::commitDataRequest): runs `willTerminate`,
    /// and then ends the application.
    void sessionIsEnding();

    /// Ends all background work: exchanges are cancelled, waiting secret reads return, threads stop after the
    /// job under way. Called after the event loop ended and before the services that use the platform are
    /// destroyed.
    void stop();

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};
