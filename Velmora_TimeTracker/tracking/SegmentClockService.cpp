#include "SegmentClockService.h"

#include "Clock.h"
#include "DomainStorage.h"
#include "Log.h"
#include "SQLiteStore.h"
#include "SegmentUtils.h"
#include "SessionManager.h"
#include "UploadService.h"

#include <algorithm>
#include <limits>

namespace {

constexpr Seconds tickInterval = 1.0;
constexpr Seconds tickTolerance = 0.2;
constexpr int ticksPerPersist = 60;

/// The database holds 32-bit counters.
int saturatedSum(int counter, qint64 delta) {
    constexpr qint64 largest = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(largest, counter + std::clamp<qint64>(delta, 0, largest)));
}

} // namespace

SegmentClockService::SegmentClockService(SessionManager& sessionManager, SQLiteStore& store,
                                         const DomainStorage& domain, UploadService& uploads, Clock& clock,
                                         Executor& main)
    : sessionManager_(&sessionManager)
    , store_(store)
    , domain_(domain)
    , uploads_(uploads)
    , clock_(clock)
    , main_(main) {}

void SegmentClockService::bindToTrackingState() {
    connect(sessionManager_, &SessionManager::isTrackingChanged, this, &SegmentClockService::setRunning);
    setRunning(sessionManager_->isTracking());
}

void SegmentClockService::setRunning(bool isTracking) {
    if (isTracking) {
        if (!timer_)
            start();
    } else {
        flushCurrentSegment();
        timer_.reset();
    }
}

void SegmentClockService::start() {
    flushCurrentSegment();
    if (domainKey_ != domain_.domainKey())
        currentSegmentDate_.reset();
    timer_ = main_.every(tickInterval, tickInterval, tickTolerance, [this] { tick(); });
}

void SegmentClockService::tick() {
    if (!sessionManager_)
        return;
    const auto input = sessionManager_->segmentTickInput();
    const auto [date, number] =
        SegmentUtils::segmentDateAndNumber(clock_.now(), sessionManager_->engineTimeZone());
    if (!currentSegmentDate_)
        adopt(date, number);
    else if (hasSegment() && (*currentSegmentDate_ != date || currentSegmentNumber_ != number))
        rollOver(date, number);

    activeSeconds_ = saturatedSum(activeSeconds_, input.hadInput ? 1 : 0);
    nonIdleSeconds_ = saturatedSum(nonIdleSeconds_, input.isTracked ? 1 : 0);
    mouseMovements_ = saturatedSum(mouseMovements_, input.mouseDelta);
    keyboardMovements_ = saturatedSum(keyboardMovements_, input.keyboardDelta);
    if (++ticksSinceLastPersist_ >= ticksPerPersist) {
        flushCurrentSegment();
        ticksSinceLastPersist_ = 0;
    }
    sessionManager_->recordLast5MinInput(input.hadInput);
}

/// Closes the present slot and opens the given one. The closed slot's counts and the task that sends them are
/// on disk when it returns.
void SegmentClockService::rollOver(const QString& date, int number) {
    qCInfo(Log::upload, "Segment rollover: %s#%d → %s#%d", qPrintable(*currentSegmentDate_),
           currentSegmentNumber_, qPrintable(date), number);
    if (hasCounts()) {
        flushCurrentSegment();
        uploads_.enqueueActivitySegmentsForUpload(SegmentUtils::DateAndNumber{date, number});
        spawn(uploads_.processQueue(), "processQueue");
    }
    adopt(date, number);
}

void SegmentClockService::flushCurrentSegment() {
    if (hasSegment() && hasCounts())
        store_.upsertActivitySegment({*currentSegmentDate_, currentSegmentNumber_, activeSeconds_,
                                      nonIdleSeconds_, mouseMovements_, keyboardMovements_},
                                     domainKey_);
}

bool SegmentClockService::hasSegment() const {
    return currentSegmentDate_ && currentSegmentNumber_ >= 0 &&
           currentSegmentNumber_ < SegmentUtils::segmentsPerDay;
}

bool SegmentClockService::hasCounts() const {
    return activeSeconds_ > 0 || nonIdleSeconds_ > 0 || mouseMovements_ > 0 || keyboardMovements_ > 0;
}

void SegmentClockService::adopt(const QString& date, int number) {
    domainKey_ = domain_.domainKey();
    currentSegmentDate_ = date;
    currentSegmentNumber_ = number;
    activeSeconds_ = nonIdleSeconds_ = mouseMovements_ = keyboardMovements_ = 0;
    ticksSinceLastPersist_ = 0;
}
