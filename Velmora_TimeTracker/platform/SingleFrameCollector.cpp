#include "platform/SingleFrameCollector.h"

#include <utility>

void SingleFrameCollector::receive(StreamSample sample) {
    constexpr int completeFrame = 0;
    if (sample.isScreen && sample.frameStatus == completeFrame && sample.image)
        finish(std::move(sample.image));
}

void SingleFrameCollector::finish(std::optional<RawImage> image) {
    std::optional<Completion<std::optional<RawImage>>> waiter;
    {
        const std::lock_guard guard(lock_);
        if (delivered_)
            return;
        if (!continuation_) {
            if (image)
                pendingImage_ = std::move(image);
            return;
        }
        delivered_ = true;
        waiter = std::exchange(continuation_, std::nullopt);
    }
    waiter->complete(std::move(image));
}

Task<std::optional<RawImage>> SingleFrameCollector::waitForFrame(Seconds timeout) {
    Executor& executor = Executor::current();
    const Completion<std::optional<RawImage>> frame(executor);
    {
        const std::lock_guard guard(lock_);
        if (pendingImage_) {
            delivered_ = true;
            co_return std::exchange(pendingImage_, std::nullopt);
        }
        continuation_ = frame;
    }
    const auto timer = executor.after(timeout, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->finish(std::nullopt);
    });
    co_return co_await frame;
}
