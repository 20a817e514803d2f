#include "platform/linux/x11/X11InputListener.h"

#include "platform/linux/x11/X11RecordStream.h"

#include <algorithm>
#include <csignal>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using namespace std::chrono_literals;
using std::chrono::steady_clock;

namespace {
/// Name of the thread "com.velmora.timetracker.activity.tap" in the 15 characters that Linux keeps.
constexpr const char* threadName = "activity.tap";

constexpr auto nudgeInterval = 1s; ///< Limits the delay of an event.
/// Between two reads during continuous input: limits the wake-ups while the mouse moves.
constexpr auto restInterval = 100ms;
constexpr auto retryInterval = 1s; ///< Between attempts in the background.

auto sinceEpoch(steady_clock::time_point time) {
    return time.time_since_epoch().count();
}
} // namespace

class X11InputListener::Tap : public InputEventTap {
public:
    Tap(X11InputListener& listener, Handler handler)
        : listener_(listener)
        , handler_(std::move(handler)) {
        const std::lock_guard guard(listener_.tapsLock_);
        listener_.taps_.push_back(this);
    }
    ~Tap() override {
        const std::lock_guard guard(listener_.tapsLock_);
        std::erase(listener_.taps_, this);
    }
    void enable() override {
        enabled_ = true;
        listener_.wake();
    }

    bool isEnabled() const { return enabled_; }
    void deliver(const std::vector<InputEventType>& events) const {
        if (!enabled_)
            return;
        for (const auto event : events)
            handler_(event);
    }
    void disable() {
        if (enabled_.exchange(false))
            handler_(InputEventType::disabledByUserInput);
    }

private:
    X11InputListener& listener_;
    const Handler handler_;
    std::atomic<bool> enabled_ = true;
};

X11InputListener::X11InputListener()
    : wakeDescriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

X11InputListener::~X11InputListener() {
    stopping_ = true;
    wake();
    if (thread_.joinable())
        thread_.join();
    close(wakeDescriptor_);
}

std::unique_ptr<InputEventTap> X11InputListener::openTap(Handler handler) {
    if (std::holds_alternative<Unavailable>(probe()))
        return nullptr;
    auto tap = std::make_unique<Tap>(*this, std::move(handler));
    wake(); // An open tap makes the listener retry while there is no recording.
    return tap;
}

std::optional<Seconds> X11InputListener::secondsSinceLast(InputEventType type) {
    if (!isListening())
        return std::nullopt;
    const auto last = type == InputEventType::keyDown ? lastKey_.load() : lastMotion_.load();
    const steady_clock::duration age(sinceEpoch(steady_clock::now()) - last);
    return std::max(0.0, std::chrono::duration<double>(age).count());
}

bool X11InputListener::isListening() {
    std::unique_lock guard(attemptLock_);
    if (listening_)
        return true;
    const auto before = attemptCount_;
    attemptWanted_ = true;
    if (thread_.joinable())
        wake();
    else
        thread_ = std::thread([this] { run(); });
    attempted_.wait(guard, [&] { return attemptCount_ > before; });
    return listening_;
}

Availability X11InputListener::probe() {
    if (isListening())
        return Available{};
    const std::lock_guard guard(attemptLock_);
    if (!isDenied_)
        return Available{};
    return Unavailable{u"The X server does not offer input counting (its RECORD extension is off)."_s};
}

void X11InputListener::wake() {
    const quint64 one = 1;
    [[maybe_unused]] const auto written = write(wakeDescriptor_, &one, sizeof one);
}

void X11InputListener::run() {
    pthread_setname_np(pthread_self(), threadName);
    sigset_t allSignals;
    sigfillset(&allSignals);
    pthread_sigmask(SIG_BLOCK, &allSignals, nullptr); // Signals are handled on the main thread; SIGPIPE is ignored.

    while (!stopping_) {
        if (!stream_)
            connectIfWanted();
        // Also right after connecting: poll does not report data that was read with the first reply.
        const bool inputKeepsComing = stream_ && readEvents();
        if (stream_ && !stream_->isAlive())
            loseStream();
        waitForWork(inputKeepsComing);
    }
    stream_.reset();
}

/// Waits for data, a wake-up or the next turn; for at least the read interval if data has just arrived. Without a
/// stream there are turns only while an enabled tap waits for one.
void X11InputListener::waitForWork(bool inputKeepsComing) {
    pollfd descriptors[3] = {{wakeDescriptor_, POLLIN, 0}};
    nfds_t count = 1;
    int milliseconds = -1;
    if (stream_ || anyTapEnabled()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextTurn_ - steady_clock::now());
        milliseconds = std::max(0, int(left.count()));
    }
    if (stream_ && inputKeepsComing) {
        milliseconds = int(std::chrono::milliseconds(restInterval).count());
    } else if (stream_) {
        descriptors[count++] = {stream_->dataDescriptor(), POLLIN, 0};
        descriptors[count++] = {stream_->controlDescriptor(), POLLIN, 0};
    }
    poll(descriptors, count, milliseconds);
    if (descriptors[0].revents) {
        quint64 wakes = 0;
        [[maybe_unused]] const auto bytes = read(wakeDescriptor_, &wakes, sizeof wakes);
    }
}

void X11InputListener::connectIfWanted() {
    {
        const bool isDue = anyTapEnabled() && steady_clock::now() >= nextTurn_;
        const std::lock_guard guard(attemptLock_);
        if (!attemptWanted_ && !isDue)
            return;
    }
    auto opened = X11RecordStream::open();
    const auto* refusal = std::get_if<X11RecordStream::Refusal>(&opened);
    stream_ = refusal ? nullptr : std::get<0>(std::move(opened));
    const auto now = steady_clock::now();
    lastMotion_ = lastKey_ = sinceEpoch(now);
    nextTurn_ = now + (stream_ ? nudgeInterval : retryInterval);
    const std::lock_guard guard(attemptLock_);
    listening_ = stream_ != nullptr;
    isDenied_ = refusal && *refusal == X11RecordStream::Refusal::lasting;
    attemptWanted_ = false;
    ++attemptCount_;
    attempted_.notify_all();
}

bool X11InputListener::readEvents() {
    stream_->readControl(); // first: it may also read reports, which poll then does not signal
    bool hasInput = false;
    for (const InputBatch* batch = stream_->next(); batch && !stopping_; batch = stream_->next()) {
        deliver(*batch);
        hasInput = hasInput || batch->hasMotion || batch->hasKey;
    }
    if (const auto now = steady_clock::now(); now >= nextTurn_) {
        stream_->nudge();
        nextTurn_ = now + nudgeInterval;
    }
    return hasInput;
}

void X11InputListener::deliver(const InputBatch& batch) {
    const auto now = sinceEpoch(steady_clock::now());
    if (batch.hasMotion)
        lastMotion_ = now;
    if (batch.hasKey)
        lastKey_ = now;
    if (batch.events.empty())
        return;
    const std::lock_guard guard(tapsLock_);
    for (const Tap* tap : taps_)
        tap->deliver(batch.events);
}

void X11InputListener::loseStream() {
    stream_.reset();
    nextTurn_ = steady_clock::now() + retryInterval;
    {
        const std::lock_guard guard(attemptLock_);
        listening_ = false;
    }
    const std::lock_guard guard(tapsLock_);
    for (Tap* tap : taps_)
        tap->disable();
}

bool X11InputListener::anyTapEnabled() {
    const std::lock_guard guard(tapsLock_);
    return std::any_of(taps_.begin(), taps_.end(), [](const Tap* tap) { return tap->isEnabled(); });
}
