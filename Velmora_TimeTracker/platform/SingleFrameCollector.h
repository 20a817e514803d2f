#pragma once

#include "platform/Executor.h"
#include "platform/StreamSource.h"

#include <memory>
#include <mutex>
#include <optional>

/// Waits for the first complete frame of a stream, or for the timeout; whichever comes first resumes the waiter.
/// `receive` may be called from any thread; `waitForFrame` once, on an executor.
class SingleFrameCollector : public std::enable_shared_from_this<SingleFrameCollector> {
public:
    void receive(StreamSample sample);

    /// Resumes on the calling executor; the time-out is one of its timers.
    Task<std::optional<RawImage>> waitForFrame(Seconds timeout);

private:
    void finish(std::optional<RawImage> image);

    std::mutex lock_; ///< Guards all below.
    bool delivered_ = false;
    std::optional<RawImage> pendingImage_;
    std::optional<Completion<std::optional<RawImage>>> continuation_;
};
