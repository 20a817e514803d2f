#include "capture/ScreenCaptureService.h"

#include "capture/CaptureGeometry.h"
#include "model/CaptureFileName.h"
#include "model/Session.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/Permissions.h"
#include "platform/PrivateFiles.h"
#include "platform/Task.h"
#include "storage/APITimeZoneResolver.h"
#include "storage/CaptureFolder.h"

#include <algorithm>
#include <utility>

namespace {

constexpr Seconds firstCaptureAfter = 60;
constexpr Seconds leeway = 15;
constexpr qint64 maxIntervalMinutes = 20 * 24 * 60; ///< Limit of the timers; the server may send any value.
constexpr double jpegQuality = 0.6;

enum class CaptureOutcome { captured, permissionLost, localFailure };
using CaptureResult = std::variant<Picture, CaptureOutcome>;

CaptureOutcome sourceFailed(const DisplayError& error) {
    qCCritical(Log::capture, "Screen capture failed: %s", qUtf8Printable(error.description));
    return error.isDenial ? CaptureOutcome::permissionLost : CaptureOutcome::localFailure;
}

CaptureOutcome encodingFailed(int index) {
    qCCritical(Log::capture, "Failed JPEG conversion for display %d", index);
    return CaptureOutcome::localFailure;
}

} // namespace

struct ScreenCaptureService::Cycle {
    Dependencies deps;
    QUuid sessionId;
    QString directory;
    std::shared_ptr<const Callbacks> callbacks;
    std::weak_ptr<const bool> service;

    static Task<> run(Cycle cycle);

    Task<CaptureOutcome> captureAllDisplays(QString timestampToken) const;
    Task<CaptureResult> take(DisplayDescription display, int index) const;
    std::optional<CaptureOutcome> save(const Picture& picture, int index, const QString& timestampToken) const;
    QString timestampToken() const;
    void report(CaptureOutcome outcome) const;
};

Task<> ScreenCaptureService::Cycle::run(Cycle cycle) {
    if (cycle.service.expired())
        co_return;
    const QString token = cycle.timestampToken();
    const CaptureOutcome outcome = co_await cycle.captureAllDisplays(token);
    if (!cycle.service.expired())
        cycle.report(outcome);
}

QString ScreenCaptureService::Cycle::timestampToken() const {
    return CaptureFileName::timestampToken(deps.clock.now(), deps.timeZones.storedTimeZone());
}

Task<CaptureOutcome> ScreenCaptureService::Cycle::captureAllDisplays(QString timestampToken) const {
    const auto listed = deps.displays.displays();
    if (const auto* error = std::get_if<DisplayError>(&listed))
        co_return sourceFailed(*error);
    const auto& displays = std::get<std::vector<DisplayDescription>>(listed);
    if (displays.empty()) {
        qCCritical(Log::capture, "Screen capture failed: the session has no display");
        co_return CaptureOutcome::localFailure;
    }
    int index = 0;
    for (const DisplayDescription& display : displays) {
        const CaptureResult taken = co_await take(display, index);
        if (service.expired())
            co_return CaptureOutcome::localFailure;
        if (const auto* failure = std::get_if<CaptureOutcome>(&taken))
            co_return *failure;
        if (const auto failure = save(std::get<Picture>(taken), index, timestampToken))
            co_return *failure;
        ++index;
    }
    qCInfo(Log::capture, "Screenshots captured: %d display(s), session %s", index, qUtf8Printable(uuidText(sessionId)));
    co_return CaptureOutcome::captured;
}

Task<CaptureResult> ScreenCaptureService::Cycle::take(DisplayDescription display, int index) const {
    const QSize native = CaptureGeometry::nativePixelSize(display);
    const QSize size = CaptureGeometry::cappedPixelSize(native.width(), native.height(), CaptureGeometry::maxDimension);
    PictureResult result = co_await deps.displays.picture(display, size, jpegQuality);
    if (const auto* error = std::get_if<DisplayError>(&result))
        co_return sourceFailed(*error);
    if (std::holds_alternative<EncodingFailed>(result))
        co_return encodingFailed(index);
    co_return std::get<Picture>(std::move(result));
}

std::optional<CaptureOutcome> ScreenCaptureService::Cycle::save(const Picture& picture, int index,
                                                                const QString& timestampToken) const {
    const QString path = directory + u'/' + CaptureFileName::format(sessionId, timestampToken, index);
    // The file time comes from the same clock as the later age check.
    const QString error = PrivateFiles::replaceFile(path, picture.jpeg, deps.clock.now().toDateTime(QTimeZone::utc()));
    if (!error.isEmpty()) {
        qCCritical(Log::capture, "Failed writing screenshot: %s", qUtf8Printable(error));
        return CaptureOutcome::localFailure;
    }
    qCInfo(Log::capture, "Screenshot display %d: %dx%dpx, %lld KB", index, picture.size.width(), picture.size.height(),
           static_cast<qint64>(picture.jpeg.size()) / 1024);
    return std::nullopt;
}

void ScreenCaptureService::Cycle::report(CaptureOutcome outcome) const {
    switch (outcome) {
    case CaptureOutcome::captured:
        qCInfo(Log::capture, "Posting captureComplete notification to trigger heartbeat and screenshot upload");
        callbacks->onCaptureComplete();
        if (const int pruned = CaptureFolder::cleanupOldCaptures(directory, CaptureFolder::maxFileCount))
            callbacks->onPicturesPruned(pruned);
        break;
    case CaptureOutcome::permissionLost:
        callbacks->onPermissionLost();
        break;
    case CaptureOutcome::localFailure:
        qCCritical(Log::capture, "Screenshot cycle skipped: local capture failure (not treated as permission "
                                 "loss; will retry next interval)");
        callbacks->onCaptureFailed();
        break;
    }
}

ScreenCaptureService::ScreenCaptureService(const Dependencies& dependencies)
    : deps_(dependencies)
    , capturesDirectory_(CaptureFolder::capturesBaseDirectory(dependencies.information)) {
    PrivateFiles::create(capturesDirectory_);
}

ScreenCaptureService::~ScreenCaptureService() {
    stop();
    // Each cycle checks this flag when it resumes. Wait for its current step: the dependencies may be destroyed right
    // after this object.
    alive_.reset();
    deps_.utility.sync([] {});
}

void ScreenCaptureService::start(QUuid sessionId, const QString& domainKey, qint64 intervalMinutes,
                                 Callbacks callbacks) {
    const auto shared = std::make_shared<const Callbacks>(std::move(callbacks));
    deps_.queue.sync([&] {
        halt();
        interval_ = static_cast<Seconds>(std::clamp<qint64>(intervalMinutes, 1, maxIntervalMinutes) * 60);
        const bool goesOn = std::exchange(sessionId_, sessionId) == sessionId;
        const Seconds first = goesOn ? std::clamp(left_, 0.0, interval_) : firstCaptureAfter;
        due_ = uptime() + first;
        capturesDirectory_ = CaptureFolder::capturesDirectory(deps_.information, domainKey);
        PrivateFiles::create(capturesDirectory_);
        qCInfo(Log::capture, "Screenshot timer started: first capture in %.0fs, then every %.0fs", first, interval_);
        timer_ = deps_.queue.every(first, interval_, leeway, [this, shared] { tick(shared); });
    });
}

void ScreenCaptureService::stop() {
    deps_.queue.sync([this] { halt(); });
}

void ScreenCaptureService::halt() {
    if (std::exchange(timer_, nullptr))
        left_ = due_ - uptime();
}

Seconds ScreenCaptureService::uptime() const {
    return std::chrono::duration<Seconds>(deps_.clock.uptime()).count();
}

void ScreenCaptureService::tick(std::shared_ptr<const Callbacks> callbacks) {
    if (!callbacks->shouldCapture()) {
        qCInfo(Log::capture, "Screenshot skipped: shouldCapture=false (paused/idle/not tracking)");
        return;
    }
    due_ = std::max(due_ + interval_, uptime());
    if (!deps_.permissions.canRecordScreen()) {
        qCCritical(Log::capture, "Screenshot skipped: screen recording permission denied");
        callbacks->onPermissionLost();
        return;
    }
    // The cycle is not awaited. Cycles do not overlap: `utility` runs one job at a time, and a stream times out long
    // before the next tick.
    deps_.utility.post([cycle = Cycle{deps_, sessionId_, capturesDirectory_, std::move(callbacks), alive_}] {
        spawn(Cycle::run(cycle), "capture cycle");
    });
}
