// What a running session costs each second: the engine's tick and the segment clock's, against the same two
// timers that do nothing but read the clock. Fails when a second of the engine takes more than 50 µs of
// processor time.

#include "EngineFixture.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <algorithm>
#include <chrono>
#include <cstdio>

namespace {

constexpr double allowedMicroseconds = 50;
constexpr int seconds = 3600;

struct Figures {
    double median, most;
};

/// The time that each of an hour's seconds takes; `most` is what 99 of 100 stay below.
template <typename Advance>
Figures measured(Advance advance) {
    std::vector<double> took;
    for (int i = 0; i < seconds; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        advance();
        took.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count());
    }
    std::ranges::sort(took);
    return {took[took.size() / 2], took[took.size() * 99 / 100]};
}

Figures emptyTimers() {
    Timeline timeline;
    SimulatedExecutor main(timeline, true);
    const SimulatedClock clock(timeline);
    double sum = 0;
    const auto readClock = [&] { sum += clock.now().secondsSince2001; };
    const auto ticker = main.every(1, 1, 0.2, readClock);
    const auto segments = main.every(1, 1, 0.2, readClock);
    return measured([&] { timeline.advance(1); });
}

Figures runningSession() {
    EngineFixture world;
    world.config.appTimezone = "America/New_York";
    world.config.screenshotIntervalMinutes = 24 * 60;
    world.applyConfig();
    world.start("p1", "First");
    world.tick(120); // past the first picture
    return measured([&] {
        world.machine.input.happen(InputEventType::keyDown);
        world.tick(1);
    });
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules("com.velmora.*.info=false");
    const Figures empty = emptyTimers();
    const Figures engine = runningSession();
    std::printf("empty timers    %6.2f µs a second, 99 %% below %7.2f µs\n", empty.median, empty.most);
    std::printf("running session %6.2f µs a second, 99 %% below %7.2f µs (allowed %.0f)\n", engine.median,
                engine.most, allowedMicroseconds);
    return engine.median - empty.median <= allowedMicroseconds ? 0 : 1;
}
