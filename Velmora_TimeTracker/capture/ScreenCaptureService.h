#pragma once

#include "platform/Executor.h"

#include <QString>
#include <QUuid>
#include <functional>
#include <memory>

class APITimeZoneResolver;
class ApplicationInfo;
class Clock;
class DisplaySource;
class Permissions;

/// Takes a JPEG of every display at a fixed interval while a session runs, and reports the outcome of each cycle to
/// its owner. A failure that proves nothing about the permission only skips its cycle. Used on the main
/// thread; nothing fails outwards but through the callbacks.
class ScreenCaptureService {
public:
    /// `displays` and `clock` must outlive the last job of `utility`, all else only the service.
    struct Dependencies {
        DisplaySource& displays;
        Permissions& permissions;
        const ApplicationInfo& information;
        const APITimeZoneResolver& timeZones;
        Clock& clock;
        Executor& queue;   ///< "com.velmora.timetracker.screencapture": the timer and the probe
        Executor& utility; ///< the capture cycles
    };
    /// Called on `queue` or `utility`, never on the main thread. Each cycle that ends calls one of
    /// `onPermissionLost`, `onCaptureComplete` and `onCaptureFailed`.
    struct Callbacks {
        std::function<bool()> shouldCapture;
        std::function<void()> onPermissionLost;
        std::function<void()> onCaptureComplete;
        std::function<void()> onCaptureFailed; ///< For a passing reason.
        /// Beside `onCaptureComplete`: how many pictures went because the folder was full.
        std::function<void(int)> onPicturesPruned;
    };

    explicit ScreenCaptureService(const Dependencies& dependencies);
    /// Waits for the step that a cycle is in at this moment; nothing of the service is used or called
    /// afterwards.
    ~ScreenCaptureService();
    ScreenCaptureService(const ScreenCaptureService&) = delete;
    ScreenCaptureService& operator=(const ScreenCaptureService&) = delete;

    /// Pictures go to the folder of `domainKey`, the session's own company and user.
    /// First capture after 60 s, then every max(intervalMinutes, 1) minutes. The schedule of a session that was stopped
    /// before goes on where it was: its time counts between `start` and `stop` only. Replaces a running schedule. Returns
    /// when the change is in force; must not be called on `queue`.
    void start(QUuid sessionId, const QString& domainKey, qint64 intervalMinutes, Callbacks callbacks);
    /// Ends the schedule. A cycle in flight goes on and still reports.
    void stop();

private:
    /// One capture cycle. It holds all that it needs, so that it may outlast the schedule, and watches
    /// whether the service still lives.
    struct Cycle;

    void tick(std::shared_ptr<const Callbacks> callbacks);
    void halt();
    Seconds uptime() const;

    const Dependencies deps_;
    // Touched on `queue` only.
    std::unique_ptr<Executor::Timer> timer_;
    QString capturesDirectory_;
    QUuid sessionId_;      ///< Whose schedule it is.
    Seconds interval_ = 0; ///< Between two captures.
    Seconds due_ = 0;      ///< Uptime of the next capture.
    Seconds left_ = 0;     ///< Time to the next capture, when the schedule was stopped.

    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};
