#pragma once

#include "model/ActivitySnapshot.h"
#include "platform/Date.h"
#include "platform/InputEventSource.h"

#include <memory>
#include <mutex>
#include <optional>

class Clock;

/// Counts keyboard and mouse events: that they happened, never their content. Counters are per session and
/// per second. `start` and `stop` belong to one thread; the others may be called from any, and each is one
/// step under `activity.state`.
class ActivityTracker {
public:
    ActivityTracker(InputEventSource& source, const Clock& clock);
    ~ActivityTracker();

    /// True when a tap is open afterwards; a second start changes nothing. False when this session offers no
    /// input events.
    bool start();
    /// The counters stay. Waits for a handler that is running.
    void stop();
    /// Begins a session that has these counts already, and this score of `totalTrackedSeconds`. A new session has none.
    void reset(const ActivitySnapshot& counted = {}, Seconds totalTrackedSeconds = 0);
    /// The same for a session that midnight begins: the moment of the last input stays.
    void resetCounts(const ActivitySnapshot& counted = {}, Seconds totalTrackedSeconds = 0);

    /// Each of these two reads and clears in one step.
    bool consumeHadInputThisSecond();
    struct Delta {
        qint64 mouse = 0;
        qint64 keyboard = 0;
    };
    Delta getAndResetMouseKeyboardDeltaThisSecond();
    void recordActiveSecondForSession();
    /// Wall time of the last counted event; absent when none came since the reset.
    std::optional<Date> latestInputAt() const;
    /// The score is active seconds ÷ `totalTrackedSeconds` × 100, within 0 to 100; 0 for no tracked time.
    ActivitySnapshot snapshot(Seconds totalTrackedSeconds) const;

    /// What the tap delivers, on the tap's thread. Public for tests of the counting rules.
    void handleEvent(InputEventType type);

private:
    InputEventSource& source_;
    const Clock& clock_;
    mutable std::mutex state_; ///< "com.velmora.timetracker.activity.state": guards all below.
    std::unique_ptr<InputEventTap> eventTap_;
    qint64 mouseMoves_ = 0;
    qint64 keyboardEvents_ = 0;
    Seconds activeSeconds_ = 0;
    bool hadInputThisSecond_ = false;
    qint64 mouseMovesThisSecond_ = 0;
    qint64 keyboardEventsThisSecond_ = 0;
    std::optional<Date> lastInputAt_;
};
