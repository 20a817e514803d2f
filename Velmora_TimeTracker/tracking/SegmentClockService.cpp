#include "tracking/SegmentClockService.h"

#include "platform/Clock.h"
#include "platform/Log.h"
#include "storage/DomainStorage.h"
#include "tracking/SessionManager.h"
#include "upload/UploadService.h"

#include <algorithm>
#include <limits>

namespace {

constexpr Seconds tickInterval = 1.0;
constexpr Seconds tickTolerance = 0.2;
constexpr int ticksPerPersist = 60;
constexpr Seconds rewriteInterval = 60; ///< Of what the database did not take when the clock stopped.

/// The database holds 32-bit counters.
int saturatedSum(int counter, qint64 delta) {
    constexpr qint64 largest = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(largest, counter + std::clamp<qint64>(delta, 0, largest)));
}

bool hasCounts(const SQLiteStore::ActivitySegmentRow& row) {
    return row.activeSeconds > 0 || row.nonIdleSeconds > 0 || row.mouseMovements > 0 || row.keyboardMovements > 0;
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
    if (isTracking)
        return start();
    timer_.reset();
    if (!flushCurrentSegment())
        timer_ = main_.every(rewriteInterval, rewriteInterval, tickTolerance, [this] {
            if (flushCurrentSegment())
                timer_.reset();
        });
}

void SegmentClockService::start() {
    flushCurrentSegment();
    domainKey_ = domain_.domainKey();
    timer_ = main_.every(tickInterval, tickInterval, tickTolerance, [this] { tick(); });
}

void SegmentClockService::tick() {
    if (!sessionManager_)
        return;
    const auto input = sessionManager_->segmentTickInput();
    enter(clock_.now(), sessionManager_->engineTimeZone());

    Slot& open = slots_.back();
    SQLiteStore::ActivitySegmentRow& counts = open.counts;
    counts.activeSeconds = saturatedSum(counts.activeSeconds, input.hadInput ? 1 : 0);
    counts.nonIdleSeconds = saturatedSum(counts.nonIdleSeconds, input.isTracked ? 1 : 0);
    counts.mouseMovements = saturatedSum(counts.mouseMovements, input.mouseDelta);
    counts.keyboardMovements = saturatedSum(counts.keyboardMovements, input.keyboardDelta);
    open.isUsed = open.isUsed || hasCounts(counts);
    if (++ticksSinceLastPersist_ >= ticksPerPersist) {
        flushCurrentSegment();
        ticksSinceLastPersist_ = 0;
    }
    sessionManager_->recordLast5MinInput(input.hadInput);
}

/// Makes the slot of `now` the open one. The counts of the slot that this closes, and the task that sends them, are on disk when it
/// returns.
void SegmentClockService::enter(Date now, const QTimeZone& zone) {
    const SegmentUtils::DateAndNumber present = SegmentUtils::segmentDateAndNumber(now, zone);
    const Slot closing = slots_.empty() ? Slot() : slots_.back();
    const auto& [domainKey, counts, isUsed] = closing;
    if (domainKey == domainKey_ && counts.segmentDate == present.date && counts.segmentNumber == present.number)
        return;
    slots_.push_back({domainKey_, {present.date, present.number, 0, 0, 0, 0, QString::fromUtf8(zone.id())}});
    ticksSinceLastPersist_ = 0;
    flushCurrentSegment();
    if (!isUsed)
        return;
    qCInfo(Log::upload, "Segment rollover: %s#%d → %s#%d", qPrintable(counts.segmentDate), counts.segmentNumber,
           qPrintable(present.date), present.number);
    uploads_.enqueueActivitySegmentsForUpload(present);
    spawn(uploads_.processQueue(), "processQueue");
}

bool SegmentClockService::flushCurrentSegment() {
    while (slots_.size() > 1 && write(slots_.front()))
        slots_.pop_front();
    return slots_.empty() || (slots_.size() == 1 && write(slots_.front()));
}

/// True when nothing of the slot is left to write.
bool SegmentClockService::write(Slot& slot) {
    SQLiteStore::ActivitySegmentRow& counts = slot.counts;
    if (hasCounts(counts) && !store_.upsertActivitySegment(counts, slot.domainKey))
        return false;
    counts = {counts.segmentDate, counts.segmentNumber, 0, 0, 0, 0, counts.timezone};
    return true;
}
