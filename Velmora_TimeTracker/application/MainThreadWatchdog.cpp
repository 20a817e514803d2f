#include "application/MainThreadWatchdog.h"

#include "model/ISO8601.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/PrivateFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
constexpr Seconds pingLeeway = 0.5;
constexpr auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner;
} // namespace

/// State shared with a pending ping.
struct MainThreadWatchdog::Shared : std::enable_shared_from_this<Shared> {
    Shared(const Clock& theClock, Executor& theQueue, Executor& theMain, std::function<void(Seconds)> handler,
           Seconds threshold)
        : clock(theClock)
        , queue(theQueue)
        , main(theMain)
        , onStall(std::move(handler))
        , stallThreshold(threshold) {}

    const Clock& clock;
    Executor& queue;
    Executor& main;
    const std::function<void(Seconds)> onStall;
    const Seconds stallThreshold;

    void ping() {
        main.post([weak = weak_from_this(), sent = clock.uptime()] {
            if (const auto shared = weak.lock())
                shared->answer(sent);
        });
    }

    /// Runs on the main thread: two clock reads and no file access.
    void answer(std::chrono::nanoseconds sent) {
        const Seconds waited = std::chrono::duration<double>(clock.uptime() - sent).count();
        if (waited < stallThreshold)
            return;
        queue.post([weak = weak_from_this(), waited] {
            if (const auto shared = weak.lock())
                shared->onStall(waited);
        });
    }
};

MainThreadWatchdog::MainThreadWatchdog(const Clock& clock, Executor& queue, Executor& main,
                                       std::function<void(Seconds)> onStall, Seconds pingInterval,
                                       Seconds stallThreshold)
    : shared_(std::make_shared<Shared>(clock, queue, main, std::move(onStall), stallThreshold))
    , pingInterval_(pingInterval) {}

MainThreadWatchdog::~MainThreadWatchdog() {
    shared_->queue.sync([this] { timer_.reset(); });
}

void MainThreadWatchdog::start() {
    shared_->queue.sync([this] {
        if (timer_)
            return;
        timer_ = shared_->queue.every(pingInterval_, pingInterval_, pingLeeway, [weak = std::weak_ptr(shared_)] {
            if (const auto shared = weak.lock())
                shared->ping();
        });
    });
}

QString StallLog::defaultLogURL(const QString& folder) {
    return folder + u"/mainthread-stalls.log"_s;
}

void StallLog::append(const QString& file, Date now, Seconds stall) {
    const auto milliseconds = static_cast<long long>(stall * 1000);
    const QString line = u"%1,%2\n"_s.arg(ISO8601::text(now, QTimeZone::utc())).arg(milliseconds);
    qCCritical(Log::legacyShell, "Main thread stall: %lldms", milliseconds);

    const QFileInfo place(file);
    if (!place.exists() && !PrivateFiles::create(place.absolutePath()))
        return;
    QFile log(file);
    if (!log.open(QFile::WriteOnly | QFile::Append, ownerOnly))
        return;
    log.write(line.toUtf8());
    log.close();
    if (log.size() <= rotateAbove)
        return;
    const QString older = place.dir().filePath(place.completeBaseName() + u".old.log"_s);
    QFile::remove(older);
    QFile::rename(file, older);
}
