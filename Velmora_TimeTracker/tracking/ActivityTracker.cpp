#include "tracking/ActivityTracker.h"

#include "platform/Clock.h"
#include "platform/Log.h"

#include <algorithm>
#include <utility>

ActivityTracker::ActivityTracker(InputEventSource& source, const Clock& clock)
    : source_(source)
    , clock_(clock) {}

ActivityTracker::~ActivityTracker() {
    stop();
}

bool ActivityTracker::start() {
    {
        const std::lock_guard guard(state_);
        if (eventTap_)
            return true;
    }
    // Outside the lock: the tap's thread may deliver at once, and its handler takes the lock.
    auto tap = source_.openTap([this](InputEventType type) { handleEvent(type); });
    if (!tap) {
        qCCritical(Log::activity, "Failed opening the input event tap");
        return false;
    }
    const std::lock_guard guard(state_);
    eventTap_ = std::move(tap);
    return true;
}

void ActivityTracker::stop() {
    std::unique_ptr<InputEventTap> tap;
    {
        const std::lock_guard guard(state_);
        tap = std::move(eventTap_);
    }
    // Ends outside the lock, since ending it waits for a handler that may be waiting for the lock.
}

void ActivityTracker::reset(const ActivitySnapshot& counted, Seconds totalTrackedSeconds) {
    resetCounts(counted, totalTrackedSeconds);
    const std::lock_guard guard(state_);
    lastInputAt_.reset();
}

void ActivityTracker::resetCounts(const ActivitySnapshot& counted, Seconds totalTrackedSeconds) {
    const std::lock_guard guard(state_);
    mouseMoves_ = counted.mouseMoves;
    keyboardEvents_ = counted.keyboardEvents;
    activeSeconds_ = counted.activityScore / 100.0 * totalTrackedSeconds;
    hadInputThisSecond_ = false;
    mouseMovesThisSecond_ = keyboardEventsThisSecond_ = 0;
}

bool ActivityTracker::consumeHadInputThisSecond() {
    const std::lock_guard guard(state_);
    return std::exchange(hadInputThisSecond_, false);
}

ActivityTracker::Delta ActivityTracker::getAndResetMouseKeyboardDeltaThisSecond() {
    const std::lock_guard guard(state_);
    return {std::exchange(mouseMovesThisSecond_, 0), std::exchange(keyboardEventsThisSecond_, 0)};
}

void ActivityTracker::recordActiveSecondForSession() {
    const std::lock_guard guard(state_);
    activeSeconds_ += 1;
}

std::optional<Date> ActivityTracker::latestInputAt() const {
    const std::lock_guard guard(state_);
    return lastInputAt_;
}

ActivitySnapshot ActivityTracker::snapshot(Seconds totalTrackedSeconds) const {
    const std::lock_guard guard(state_);
    const double score = totalTrackedSeconds > 0 ? activeSeconds_ / totalTrackedSeconds * 100.0 : 0.0;
    return {mouseMoves_, keyboardEvents_, std::clamp(score, 0.0, 100.0)};
}

void ActivityTracker::handleEvent(InputEventType type) {
    const std::lock_guard guard(state_);
    switch (type) {
    case InputEventType::disabledByTimeout:
    case InputEventType::disabledByUserInput:
        if (eventTap_)
            eventTap_->enable();
        qCCritical(Log::activity, "Event tap disabled by the desktop (type %u) — re-enabling",
                   static_cast<quint32>(type));
        return;
    case InputEventType::mouseMoved:
    case InputEventType::leftMouseDragged:
    case InputEventType::rightMouseDragged:
        ++mouseMoves_;
        ++mouseMovesThisSecond_;
        break;
    case InputEventType::keyDown:
        ++keyboardEvents_;
        ++keyboardEventsThisSecond_;
        break;
    default:
        return;
    }
    hadInputThisSecond_ = true;
    lastInputAt_ = clock_.now();
}
