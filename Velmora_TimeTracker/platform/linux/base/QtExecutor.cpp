#include "platform/linux/base/QtExecutor.h"

#include <QBasicTimer>
#include <QCoreApplication>
#include <QEvent>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <map>

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace {

nanoseconds uptime() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

nanoseconds span(Seconds seconds) {
    constexpr Seconds longest = 100.0 * 365 * 86400; // keeps the sum with the clock within 64 bits
    return std::chrono::duration_cast<nanoseconds>(std::chrono::duration<double>(std::clamp(seconds, 0.0, longest)));
}

const auto jobEventType = static_cast<QEvent::Type>(QEvent::registerEventType());

struct JobEvent final : QEvent {
    explicit JobEvent(Executor::Job job)
        : QEvent(jobEventType)
        , run(std::move(job)) {}
    Executor::Job run;
};

} // namespace

/// The timer that a caller holds. The pump has weak pointers: a destroyed timer needs no removal, and a firing one
/// lives until its job returns.
struct QtExecutor::PendingTimer {
    Job job;
    nanoseconds interval{0}; ///< 0: fires once.
    nanoseconds leeway{0};

    /// The time within the leeway after `due` that is nearest to a whole second.
    nanoseconds aligned(nanoseconds due) const {
        const nanoseconds intoSecond = due % std::chrono::seconds(1);
        const nanoseconds toWhole = intoSecond.count() == 0 ? nanoseconds(0) : std::chrono::seconds(1) - intoSecond;
        return due + std::min(toWhole, leeway);
    }
};

/// The part of an executor that belongs to its thread.
class QtExecutor::Pump final : public QObject {
public:
    std::atomic<bool> closed = false; ///< No further job runs.

    bool event(QEvent* event) override {
        if (event->type() != jobEventType)
            return QObject::event(event);
        if (!closed)
            static_cast<JobEvent*>(event)->run();
        return true;
    }

    void add(nanoseconds due, const std::weak_ptr<PendingTimer>& timer) {
        queue_.emplace(due, timer);
        arm();
    }

    void stopTimers() {
        wakeUp_.stop();
        queue_.clear();
    }

private:
    void timerEvent(QTimerEvent*) override {
        // Timers added by these jobs wait for the next pass, so that posted jobs run in between.
        const nanoseconds now = uptime();
        while (!closed && !queue_.empty() && queue_.begin()->first <= now) {
            const auto [due, weak] = *queue_.begin();
            queue_.erase(queue_.begin());
            const auto timer = weak.lock();
            if (!timer)
                continue;
            if (timer->interval.count() > 0)
                queue_.emplace(nextFiring(*timer, due, now), weak);
            arm(); // A job may run a nested event loop, in which the other timers continue.
            timer->job();
        }
        arm();
    }

    /// Skips calls whose time has passed, for instance after a long job.
    static nanoseconds nextFiring(const PendingTimer& timer, nanoseconds due, nanoseconds now) {
        const nanoseconds next = due + timer.interval;
        return timer.aligned(next > now ? next : now + timer.interval);
    }

    void arm() {
        while (!queue_.empty() && queue_.begin()->second.expired())
            queue_.erase(queue_.begin());
        if (queue_.empty())
            return wakeUp_.stop();
        const auto wait = std::chrono::ceil<milliseconds>(queue_.begin()->first - uptime());
        const auto bounded = std::clamp<milliseconds>(wait, milliseconds(0), std::chrono::hours(24));
        wakeUp_.start(static_cast<int>(bounded.count()), Qt::PreciseTimer, this);
    }

    std::multimap<nanoseconds, std::weak_ptr<PendingTimer>> queue_; ///< Sorted by due time.
    QBasicTimer wakeUp_;
};

QtExecutor::QtExecutor()
    : pump_(std::make_unique<Pump>()) {}

QtExecutor::~QtExecutor() = default;

void QtExecutor::post(Job job) {
    if (pump_->closed)
        return;
    prepare();
    QCoreApplication::postEvent(pump_.get(), new JobEvent(std::move(job)));
}

std::unique_ptr<Executor::Timer> QtExecutor::after(Seconds delay, Job job) {
    auto timer = std::make_unique<PendingTimer>();
    timer->job = std::move(job);
    return schedule(uptime() + span(delay), std::move(timer));
}

std::unique_ptr<Executor::Timer> QtExecutor::every(Seconds first, Seconds interval, Seconds leeway, Job job) {
    auto timer = std::make_unique<PendingTimer>();
    timer->job = std::move(job);
    timer->interval = std::max<nanoseconds>(span(interval), milliseconds(1));
    timer->leeway = span(leeway);
    const nanoseconds due = timer->aligned(uptime() + span(first));
    return schedule(due, std::move(timer));
}

std::unique_ptr<Executor::Timer> QtExecutor::schedule(nanoseconds due, std::shared_ptr<PendingTimer> timer) {
    struct Handle final : Timer {
        std::shared_ptr<PendingTimer> timer;
    };
    if (pump_->thread() == QThread::currentThread())
        pump_->add(due, timer);
    else
        post([pump = pump_.get(), due, weak = std::weak_ptr(timer)] { pump->add(due, weak); });
    auto handle = std::make_unique<Handle>();
    handle->timer = std::move(timer);
    return handle;
}

void QtExecutor::sync(const Job& job) {
    if (isCurrent())
        return job();
    std::packaged_task<void()> task(std::cref(job));
    std::future<void> done = task.get_future();
    post([shared = std::make_shared<std::packaged_task<void()>>(std::move(task))] { (*shared)(); });
    try {
        done.get();
    } catch (const std::future_error&) {
        // The executor has stopped and dropped the job: no other job can run concurrently.
        const Scope scope(this);
        job();
    }
}

MainExecutor::MainExecutor()
    : scope_(this) {}

class ThreadExecutor::Worker final : public QThread {
public:
    Worker(ThreadExecutor& executor, Pump& pump)
        : executor_(executor)
        , pump_(pump) {}

private:
    void run() override {
        const Scope scope(&executor_);
        exec();
        pump_.stopTimers();
    }

    ThreadExecutor& executor_;
    Pump& pump_;
};

ThreadExecutor::ThreadExecutor(const QString& label)
    : thread_(std::make_unique<Worker>(*this, *pump_)) {
    thread_->setObjectName(label.section('.', -1)); // Linux keeps 15 characters
    pump_->moveToThread(thread_.get());
}

ThreadExecutor::~ThreadExecutor() {
    stop();
}

void ThreadExecutor::prepare() {
    std::call_once(started_, [this] { thread_->start(); });
}

void ThreadExecutor::stop() {
    pump_->closed = true;
    std::call_once(started_, [] {}); // prevents a later start of the thread
    thread_->quit();
    thread_->wait();
    QCoreApplication::removePostedEvents(pump_.get());
}
