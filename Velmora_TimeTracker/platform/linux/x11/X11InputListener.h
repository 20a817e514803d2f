#pragma once

#include "platform/IdleTimeSource.h"
#include "platform/linux/base/InputRoad.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

class X11RecordStream;
struct InputBatch;

/// Input events and idle times of the X session, both from one recording that runs from the first question on
/// until the listener is destroyed, so that idle times are known also while no tap is open.
///
/// Where the server does not offer recording, `openTap` gives null. Where the server only takes no
/// connection, the tap waits and the listener tries once a second. Idle times are absent in both cases, and each later
/// question tries again. When the server is lost each tap's handler gets `disabledByUserInput`; from `enable` on the
/// listener tries once a second to come back.
///
/// All motion resets the idle time of motion, dragging with any button too; modifier keys reset nothing.
///
/// Safe to call from any thread but its own. The taps must be gone before the listener is. A handler must
/// neither open nor destroy a tap, and neither may be done while holding a lock that a handler takes.
class X11InputListener : public InputRoad, public IdleTimeSource {
public:
    X11InputListener();
    ~X11InputListener() override;

    std::unique_ptr<InputEventTap> openTap(Handler handler) override;
    std::optional<Seconds> secondsSinceLast(InputEventType type) override;

    /// True when input is being recorded; if it was not yet, one attempt is made, which ends when the server
    /// answers.
    bool isListening();
    /// Makes the same attempt.
    Availability probe() override;

private:
    class Tap;
    using Nanoseconds = std::chrono::steady_clock::rep;

    void run();
    void waitForWork(bool inputKeepsComing);
    void connectIfWanted();
    bool readEvents(); ///< True when there was input.
    void deliver(const InputBatch& batch);
    void loseStream();
    bool anyTapEnabled();
    void wake();

    const int wakeDescriptor_; ///< An eventfd that ends the thread's poll.
    std::atomic<bool> stopping_ = false;
    std::atomic<Nanoseconds> lastMotion_ = 0;
    std::atomic<Nanoseconds> lastKey_ = 0;

    std::mutex attemptLock_; ///< Guards the five below.
    std::condition_variable attempted_;
    quint64 attemptCount_ = 0;
    bool attemptWanted_ = false;
    bool listening_ = false;
    bool isDenied_ = false; ///< By the last attempt.
    std::thread thread_;

    std::mutex tapsLock_; ///< Guards the list, and is held while handlers run.
    std::vector<Tap*> taps_;

    // Touched on the listener's thread only.
    std::unique_ptr<X11RecordStream> stream_;
    std::chrono::steady_clock::time_point nextTurn_{}; ///< Of the next nudge, or of the next attempt to connect.
};
