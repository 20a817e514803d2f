// What a running session costs each second: the engine's tick, the segment clock's and all that goes with them,
// against the same two timers that do nothing but read the clock. Fails when
// - a second of the engine takes more than 50 µs of time on average,
// - a second touches the database in which neither the segment's row nor the queue's turn is due,
// - the memory in use has grown after 10,000 seconds.

#include "tests/support/EngineFixture.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <malloc.h>
#include <numeric>
#include <sqlite3.h>

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
}

namespace {

constexpr double allowedMicroseconds = 50;
constexpr int seconds = 10'000;
constexpr long allowedGrowth = 16 * 1024; ///< bytes; the least that could grow each second is ten times as much

qint64 allocations = 0;
qint64 statements = 0;

int countStatement(unsigned, void*, void*, void*) {
    ++statements;
    return 0;
}
int traceConnection(sqlite3* database, char**, const sqlite3_api_routines*) {
    return sqlite3_trace_v2(database, SQLITE_TRACE_STMT, countStatement, nullptr);
}

struct Figures {
    double mean, most; ///< µs; 99 of 100 seconds stay below `most`
    double allocated;  ///< allocations a second
    qint64 statements, untold;
    long growth; ///< bytes in use
};

/// What each of many seconds takes. `isTold` says whether the second that ended may have touched the database.
template <typename Advance, typename IsTold>
Figures measured(Advance advance, IsTold isTold) {
    std::vector<double> took;
    took.reserve(seconds);
    Figures figures{};
    const auto inUse = [] { return long(mallinfo2().uordblks); };
    const long before = inUse();
    const qint64 allocatedBefore = allocations;
    for (int i = 0; i < seconds; ++i) {
        statements = 0;
        const auto begin = std::chrono::steady_clock::now();
        advance();
        took.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count());
        figures.statements += statements;
        figures.untold += isTold() ? 0 : statements;
    }
    figures.allocated = double(allocations - allocatedBefore) / seconds;
    figures.growth = inUse() - before;
    figures.mean = std::accumulate(took.begin(), took.end(), 0.0) / seconds;
    std::ranges::sort(took);
    figures.most = took[took.size() * 99 / 100];
    return figures;
}

Figures emptyTimers() {
    Timeline timeline;
    SimulatedExecutor main(timeline, true);
    const SimulatedClock clock(timeline);
    double sum = 0;
    const auto readClock = [&] { sum += clock.now().secondsSince2001; };
    const auto ticker = main.every(1, 1, 0.2, readClock);
    const auto segments = main.every(1, 1, 0.2, readClock);
    return measured([&] { timeline.advance(1); }, [] { return false; });
}

bool isForConfiguration(const URLRequest& request) {
    return request.url.path().endsWith("employees/config");
}

Figures runningSession() {
    EngineFixture world("2024-05-15T00:00:00Z");
    world.config.appTimezone = "America/New_York";
    world.config.screenshotIntervalMinutes = 24 * 60;
    world.applyConfig();
    world.start("p1", "First");
    int sinceConfiguration = 0; // seconds since one was asked for
    const auto second = [&] {
        world.machine.input.happen(InputEventType::keyDown);
        world.tick(1);
        auto& requests = world.machine.urlSession.requests; // the fixture's own record
        sinceConfiguration = std::ranges::any_of(requests, isForConfiguration) ? 0 : sinceConfiguration + 1;
        requests.clear();
    };
    for (int i = 0; i < 3600; ++i) // past the first picture, and until every ring and cache is full
        second();
    // The queue has its turn behind each half minute; the segment's row is written at each slot change and then each
    // 60th second, the change's own counted. A configuration, which comes at random, has the day's total read anew.
    const auto isTold = [&] {
        const long at = std::lround(world.machine.clock.now().secondsSince1970()) % 60;
        return at % 30 == 1 || at == 59 || at == 0 || sinceConfiguration <= 1;
    };
    return measured(second, isTold);
}

void print(const char* name, const Figures& f) {
    std::printf("%-16s %6.2f µs a second, 99 %% below %7.2f µs, %5.1f allocations, %lld statements (%lld untold), "
                "%+ld bytes\n",
                name, f.mean, f.most, f.allocated, f.statements, f.untold, f.growth);
}

} // namespace

// Every allocation of the process, in whichever library.
void* malloc(size_t size) {
    ++allocations;
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
    ++allocations;
    return __libc_realloc(block, size);
}

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules("com.velmora.*.info=false");
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(traceConnection));
    const Figures empty = emptyTimers();
    const Figures engine = runningSession();
    print("empty timers", empty);
    print("running session", engine);
    std::printf("allowed: %.0f µs more, none untold, %ld bytes\n", allowedMicroseconds, allowedGrowth);
    const bool isGood = engine.mean - empty.mean <= allowedMicroseconds && engine.statements > 0 &&
                        engine.untold == 0 && engine.growth <= allowedGrowth;
    return isGood ? 0 : 1;
}
