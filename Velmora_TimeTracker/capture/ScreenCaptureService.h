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
/// its owner. A failure that does not show a denied permission only skips its cycle. Main thread; failures are
/// reported by the callbacks only.
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
        std::function<void()> onCaptureFailed; ///< The failure is temporary.
        /// In addition to `onCaptureComplete`: how many screenshots were removed because the folder was full.
        std::function<void(int)> onPicturesPruned;
    };

    explicit ScreenCaptureService(const Dependencies& dependencies);
    /// Waits for the current step of a running cycle; no dependency is used and no callback is called afterwards.
    ~ScreenCaptureService();
    ScreenCaptureService(const ScreenCaptureService&) = delete;
    ScreenCaptureService& operator=(const ScreenCaptureService&) = delete;

    /// Captures after 60 s and then every max(intervalMinutes, 1) minutes into the folder of `domainKey`, the
    /// session's company and user. For a session whose schedule was stopped, the remaining time to the next capture is
    /// kept. Replaces a running schedule. Returns when the change is in effect; must not be called on `queue`.
    void start(QUuid sessionId, const QString& domainKey, qint64 intervalMinutes, Callbacks callbacks);
    /// Ends the schedule. A running cycle continues and reports.
    void stop();

private:
    /// One capture cycle. It owns its data, since it may outlive the schedule, and checks whether the service still
    /// exists.
    struct Cycle;

    void tick(std::shared_ptr<const Callbacks> callbacks);
    void halt();
    Seconds uptime() const;

    const Dependencies deps_;
    // Used on `queue` only.
    std::unique_ptr<Executor::Timer> timer_;
    QString capturesDirectory_;
    QUuid sessionId_;      ///< The session of the schedule.
    Seconds interval_ = 0; ///< Between two captures.
    Seconds due_ = 0;      ///< Uptime of the next capture.
    Seconds left_ = 0;     ///< Time to the next capture, when the schedule was stopped.

    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};
