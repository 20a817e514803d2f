#pragma once

#include "platform/Clock.h"
#include "platform/Executor.h"
#include "platform/Random.h"

#include <functional>
#include <memory>
#include <queue>
#include <random>
#include <vector>

/// The virtual time of a simulated machine: runs scheduled jobs in the order of time and then of scheduling.
/// Single-threaded.
class Timeline {
public:
    explicit Timeline(Date start = Date::since1970(1'700'000'000), const QByteArray& zone = "UTC");

    /// Virtual seconds that the machine has been awake since the start.
    Seconds uptime() const { return uptime_; }
    Date date() const { return startDate_ + uptime_ + wallOffset_; }
    QTimeZone zone() const { return zone_; }

    /// Advances time and runs every job that becomes due.
    void advance(Seconds span);
    /// Runs every job that is due now, and the jobs that they post.
    void settle() { advance(0); }
    /// Advances to the next job due within `span` and runs it; if there is none, advances by `span` and returns false.
    bool step(Seconds span);

    /// Sets the wall clock; the monotonic clock does not change.
    void jumpWallClock(Seconds by) { wallOffset_ += by; }
    /// The machine sleeps: the wall clock advances, nothing runs.
    void sleepMachine(Seconds span) { wallOffset_ += span; }
    /// A job takes this long: nothing else runs meanwhile.
    void stall(Seconds by) { uptime_ += by; }
    void setZone(const QByteArray& zone) { zone_ = QTimeZone(zone); }

    /// The process died: drops all scheduled jobs.
    void clear();

    /// Repeating timers are late by a random part of their leeway, from this seed; without a seed they are on time.
    void makeTimersLate(quint32 seed) { lateness_.emplace(seed); }

    quint64 jobsRun() const { return jobsRun_; }

private:
    friend class SimulatedExecutor;
    struct Entry {
        Seconds due = 0;
        quint64 sequence = 0;
        std::shared_ptr<std::function<void()>> job; ///< Empty function: cancelled.
        bool operator>(const Entry& other) const {
            return due != other.due ? due > other.due : sequence > other.sequence;
        }
    };

    std::shared_ptr<std::function<void()>> schedule(Seconds due, std::function<void()> job);
    Seconds lateness(Seconds leeway);

    const Date startDate_;
    Seconds uptime_ = 0;
    Seconds wallOffset_ = 0;
    QTimeZone zone_;
    quint64 sequence_ = 0;
    quint64 jobsRun_ = 0;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> entries_;
    std::optional<std::mt19937> lateness_;
};

/// A serial queue on the timeline. While no job runs, the first executor created with `isMain` is the current one,
/// like the main thread of a real program.
class SimulatedExecutor : public Executor {
public:
    explicit SimulatedExecutor(Timeline& timeline, bool isMain = false);

    void post(Job job) override;
    std::unique_ptr<Timer> after(Seconds delay, Job job) override;
    std::unique_ptr<Timer> every(Seconds first, Seconds interval, Seconds leeway, Job job) override;
    void sync(const Job& job) override;

private:
    void run(const Job& job);

    Timeline& timeline_;
    std::unique_ptr<Scope> mainScope_;
};

class SimulatedClock : public Clock {
public:
    explicit SimulatedClock(const Timeline& timeline)
        : timeline_(timeline) {}
    Date now() const override { return timeline_.date(); }
    std::chrono::nanoseconds uptime() const override {
        return std::chrono::nanoseconds(static_cast<qint64>(timeline_.uptime() * 1e9));
    }
    QTimeZone systemTimeZone() const override { return timeline_.zone(); }

private:
    const Timeline& timeline_;
};

/// Reproducible random values: the same seed gives the same sequence.
class SimulatedRandom : public Random {
public:
    explicit SimulatedRandom(quint32 seed = 1)
        : generator_(seed) {}
    QUuid uuid() override;
    double uniform(double low, double high) override;

private:
    std::mt19937 generator_;
};
