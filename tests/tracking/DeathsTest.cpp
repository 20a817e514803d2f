// The process dies at one step after the other of an ordinary stretch of work, and starts again on its files:
// what was worked is never billed beyond what it was, and at most a minute of it is lost.

#include "EngineFixture.h"
#include "SegmentUtils.h"

#include <gtest/gtest.h>

namespace {

/// Between two last-alive marks lie 60 ticks; the crash may come just before the second.
constexpr Seconds longestLoss = 61;

/// Lives through a script in steps of the simulated machine, and dies after a given number of them.
class MortalWorld {
public:
    MortalWorld(const char* start, int stepsUntilDeath)
        : world_(start)
        , stepsUntilDeath_(stepsUntilDeath) {
        world_.config.appTimezone = "Europe/Berlin";
        world_.applyConfig();
    }

    void workScript() {
        press([this] { world_.start("p1", "First"); });
        pass(700);
        press([this] { world_.engine().pauseTracking(); });
        pass(45);
        press([this] { world_.engine().resumeTracking(); });
        pass(200);
        sleep(400);
        pass(330, false); // idle: paused after five minutes
        press([this] { world_.engine().resumeTracking(); });
        pass(130);
        press([this] { world_.engine().stopTracking(); });
        pass(60);
    }

    Seconds worked() const { return worked_; }
    /// A session left open over midnight ends with its first day, whenever in it the process died.
    Seconds openUntilMidnight() const { return openUntilMidnight_; }
    bool hasDied() const { return stepsUntilDeath_ < 0; }
    Seconds billed() const {
        Seconds total = 0;
        for (const Session& session : world_.finishedSessions())
            total += static_cast<Seconds>(session.reportedTotalSeconds.value());
        return total;
    }
    std::size_t sessions() const { return world_.finishedSessions().size(); }
    bool isAllReported() {
        const auto bodies = world_.bodies("sessions/heartbeat");
        for (const Session& session : world_.finishedSessions()) {
            const auto isItsEnd = [&](const QJsonObject& body) {
                return body.value("session_uuid") == QJsonValue(uuidText(session.id)) &&
                       body.value("status") == QJsonValue("completed") &&
                       body.value("total_seconds") == QJsonValue(*session.reportedTotalSeconds);
            };
            if (std::ranges::none_of(bodies, isItsEnd))
                return false;
        }
        return world_.sql("SELECT id FROM upload_queue WHERE type = 'heartbeat'").isEmpty() &&
               world_.activeSessions().empty();
    }

private:
    bool isRunning() { return world_.engine().isTracking() && !world_.engine().isPaused(); }

    void pass(Seconds span, bool types = true) {
        Timeline& timeline = world_.machine.timeline;
        const Seconds end = timeline.uptime() + span;
        for (Seconds next = timeline.uptime(); next < end; next += 10) {
            if (types)
                world_.machine.input.happen(InputEventType::keyDown);
            bool more = true;
            while (more) {
                const Seconds before = timeline.uptime();
                const bool ran = isRunning();
                more = timeline.step(std::max(0.0, std::min(next + 10, end) - before));
                worked_ += ran ? timeline.uptime() - before : 0;
                if (more && stepsUntilDeath_-- == 0)
                    dieAndComeBack();
            }
        }
    }

    void press(const std::function<void()>& button) {
        world_.machine.input.happen(InputEventType::mouseMoved);
        button();
        pass(0.001);
    }

    void sleep(Seconds span) {
        world_.machine.power.willSleep();
        pass(0.001);
        world_.machine.timeline.sleepMachine(span);
        world_.machine.power.didWake();
        pass(0.001);
    }

    void dieAndComeBack() {
        const Date died = world_.machine.clock.now();
        const Date midnight =
            SegmentUtils::startOfDayAfter(died, 1, world_.engine().engineTimeZone()).value();
        const bool wasRunning = isRunning();
        world_.die();
        world_.machine.timeline.advance(90); // nobody works for the program
        if (wasRunning && world_.machine.clock.now() >= midnight)
            openUntilMidnight_ = midnight - died;
        world_.launch();
        world_.machine.input.happen(InputEventType::mouseMoved);
        world_.engine().resumeInterruptedSession();
    }

    EngineFixture world_;
    int stepsUntilDeath_;
    Seconds worked_ = 0;
    Seconds openUntilMidnight_ = 0;
};

void checkDeaths(const char* start, int stride, std::size_t leastSessions) {
    int deaths = 0;
    for (int step = 1;; step += stride) {
        SCOPED_TRACE(testing::Message() << start << " death after " << step << " steps");
        MortalWorld world(start, step);
        world.workScript();
        if (!world.hasDied())
            break;
        ++deaths;
        ASSERT_LE(world.billed(), world.worked() + world.openUntilMidnight() + 0.01);
        // Truncated seconds of each session, the idle time that was discarded, and the crash.
        const Seconds idleDiscarded = 300 + 5;
        ASSERT_GE(world.billed(), world.worked() - longestLoss - idleDiscarded - 2);
        ASSERT_GE(world.sessions(), leastSessions);
        ASSERT_TRUE(world.isAllReported());
    }
    EXPECT_GT(deaths, 20);
}

} // namespace

TEST(Deaths, NeitherInventNorLoseWork) {
    checkDeaths("2024-05-15T09:00:00Z", 97, 1);
}

TEST(Deaths, NeitherInventNorLoseWorkAroundMidnight) {
    checkDeaths("2024-05-15T21:55:00Z", 97, 2); // 23:55 at the company
}
