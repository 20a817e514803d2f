#pragma once

#include "platform/IdleTimeSource.h"
#include "platform/InputEventSource.h"
#include "platform/simulated/Timeline.h"

#include <set>

/// A scripted user at the keyboard and the mouse. The same events feed the counters and the idle times.
class SimulatedInput : public InputEventSource, public IdleTimeSource {
public:
    explicit SimulatedInput(const Timeline& timeline)
        : timeline_(timeline) {}

    /// Delivers `count` events now.
    void happen(InputEventType type, int count = 1);

    std::unique_ptr<InputEventTap> openTap(Handler handler) override;
    std::optional<Seconds> secondsSinceLast(InputEventType type) override;

    bool isAvailable = true;
    int openTaps() const { return static_cast<int>(taps_.size()); }
    int tapsOpened = 0;
    int enables = 0;

private:
    class Tap;
    const Timeline& timeline_;
    std::set<Tap*> taps_;
    Seconds lastMove_ = 0;
    Seconds lastKey_ = 0;
};
