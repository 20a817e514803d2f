#include "platform/simulated/SimulatedInput.h"

#include <utility>

class SimulatedInput::Tap : public InputEventTap {
public:
    Tap(SimulatedInput& source, Handler handler)
        : source_(source)
        , handler_(std::move(handler)) {
        source_.taps_.insert(this);
    }
    ~Tap() override { source_.taps_.erase(this); }
    void enable() override { ++source_.enables; }
    void deliver(InputEventType type) const { handler_(type); }

private:
    SimulatedInput& source_;
    Handler handler_;
};

void SimulatedInput::happen(InputEventType type, int count) {
    if (type == InputEventType::keyDown)
        lastKey_ = timeline_.uptime();
    else if (type == InputEventType::mouseMoved)
        lastMove_ = timeline_.uptime();
    for (const Tap* tap : taps_)
        for (int i = 0; i < count; ++i)
            tap->deliver(type);
}

std::unique_ptr<InputEventTap> SimulatedInput::openTap(Handler handler) {
    if (!isAvailable)
        return nullptr;
    ++tapsOpened;
    return std::make_unique<Tap>(*this, std::move(handler));
}

std::optional<Seconds> SimulatedInput::secondsSinceLast(InputEventType type) {
    if (!isAvailable)
        return std::nullopt;
    return timeline_.uptime() - (type == InputEventType::keyDown ? lastKey_ : lastMove_);
}
