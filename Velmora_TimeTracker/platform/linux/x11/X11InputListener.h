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

/// Input events and idle times of the X session, both from one recording that runs from the first query until
/// destruction, so that idle times are known without an open tap.
///
/// If the server does not support recording, `openTap` returns null. If it only refuses the connection, the tap waits
/// and the listener retries once a second. Idle times are absent in both cases; each later query retries. When the
/// server is lost, each tap's handler gets `disabledByUserInput`; after `enable` the listener retries once a second.
///
/// Every motion, including a drag with any button, resets the idle time of motion; modifier keys reset nothing.
///
/// Any thread except its own. Taps must be destroyed before the listener. A handler must not open or destroy a tap; do
/// neither while holding a lock that a handler takes.
class X11InputListener : public InputRoad, public IdleTimeSource {
public:
    X11InputListener();
    ~X11InputListener() override;

    std::unique_ptr<InputEventTap> openTap(Handler handler) override;
    std::optional<Seconds> secondsSinceLast(InputEventType type) override;

    /// True if input is being recorded; otherwise makes one attempt and waits for the server.
    bool isListening();
    /// Makes the same attempt.
    Availability probe() override;

private:
    class Tap;
    using Nanoseconds = std::chrono::steady_clock::rep;

    void run();
    void waitForWork(bool inputKeepsComing);
    void connectIfWanted();
    bool readEvents(); ///< True if there was input.
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
    bool isDenied_ = false; ///< The last attempt was denied.
    std::thread thread_;

    std::mutex tapsLock_; ///< Guards the list, and is held while handlers run.
    std::vector<Tap*> taps_;

    // Used on the listener's thread only.
    std::unique_ptr<X11RecordStream> stream_;
    std::chrono::steady_clock::time_point nextTurn_{}; ///< Time of the next nudge or of the next attempt to connect.
};
