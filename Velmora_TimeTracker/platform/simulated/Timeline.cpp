#include "platform/simulated/Timeline.h"

#include <utility>

Timeline::Timeline(Date start, const QByteArray& zone)
    : startDate_(start)
    , zone_(zone) {}

std::shared_ptr<std::function<void()>> Timeline::schedule(Seconds due, std::function<void()> job) {
    auto shared = std::make_shared<std::function<void()>>(std::move(job));
    entries_.push(Entry{due, sequence_++, shared});
    return shared;
}

bool Timeline::step(Seconds span) {
    const Seconds until = uptime_ + span;
    while (!entries_.empty() && entries_.top().due <= until) {
        const Entry next = entries_.top();
        entries_.pop();
        if (!*next.job)
            continue;
        uptime_ = std::max(uptime_, next.due);
        ++jobsRun_;
        const std::function<void()> job = std::exchange(*next.job, nullptr);
        job();
        return true;
    }
    uptime_ = until;
    return false;
}

void Timeline::advance(Seconds span) {
    const Seconds until = uptime_ + span;
    while (step(until - uptime_)) {
    }
}

void Timeline::clear() {
    while (!entries_.empty())
        entries_.pop();
}

Seconds Timeline::lateness(Seconds leeway) {
    return lateness_ && leeway > 0 ? std::uniform_real_distribution<>(0, leeway)(*lateness_) : 0;
}

namespace {

class SimulatedTimer : public Executor::Timer {
public:
    struct State {
        bool cancelled = false;
    };
    explicit SimulatedTimer(std::shared_ptr<State> state)
        : state_(std::move(state)) {}
    ~SimulatedTimer() override { state_->cancelled = true; }

private:
    std::shared_ptr<State> state_;
};

} // namespace

SimulatedExecutor::SimulatedExecutor(Timeline& timeline, bool isMain)
    : timeline_(timeline) {
    if (isMain)
        mainScope_ = std::make_unique<Scope>(this);
}

void SimulatedExecutor::run(const Job& job) {
    const Scope scope(this);
    job();
}

void SimulatedExecutor::post(Job job) {
    timeline_.schedule(timeline_.uptime(), [this, job = std::move(job)] { run(job); });
}

std::unique_ptr<Executor::Timer> SimulatedExecutor::after(Seconds delay, Job job) {
    auto state = std::make_shared<SimulatedTimer::State>();
    timeline_.schedule(timeline_.uptime() + std::max(delay, 0.0), [this, state, job = std::move(job)] {
        if (!state->cancelled)
            run(job);
    });
    return std::make_unique<SimulatedTimer>(state);
}

std::unique_ptr<Executor::Timer> SimulatedExecutor::every(Seconds first, Seconds interval, Seconds leeway, Job job) {
    auto state = std::make_shared<SimulatedTimer::State>();
    // Each call schedules the next one relative to the first, so that delays do not add up.
    struct Repeat {
        SimulatedExecutor* executor;
        std::shared_ptr<SimulatedTimer::State> state;
        std::shared_ptr<const Job> job;
        Seconds due, interval, leeway;

        void operator()() const {
            if (state->cancelled)
                return;
            Repeat next = *this;
            do
                next.due += interval;
            while (next.due <= executor->timeline_.uptime());
            executor->timeline_.schedule(next.due + executor->timeline_.lateness(leeway), next);
            executor->run(*job);
        }
    };
    const Seconds due = timeline_.uptime() + std::max(first, 0.0);
    timeline_.schedule(due + timeline_.lateness(leeway),
                       Repeat{this, state, std::make_shared<const Job>(std::move(job)), due, interval, leeway});
    return std::make_unique<SimulatedTimer>(state);
}

void SimulatedExecutor::sync(const Job& job) {
    run(job);
}

QUuid SimulatedRandom::uuid() {
    QByteArray bytes(16, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(generator_() & 0xFF);
    bytes[6] = static_cast<char>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<char>((bytes[8] & 0x3F) | 0x80);
    return QUuid::fromRfc4122(bytes);
}

double SimulatedRandom::uniform(double low, double high) {
    return std::uniform_real_distribution<>(low, high)(generator_);
}
