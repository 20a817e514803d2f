#pragma once

#include "tests/support/EngineFixture.h"

#include <gtest/gtest.h>
#include <set>
#include <string>

/// The engine of a signed-in employee, and the verbs that its tests are told in.
struct EngineTest : testing::Test {
    explicit EngineTest(const char* start = "2024-05-15T09:00:00Z")
        : world(start) {}

    EngineFixture world;
    SessionManager& engine() { return world.engine(); }
    static Date at(const char* text) { return EngineFixture::at(text); }
    Date now() const { return world.machine.clock.now(); }
    void touch() { world.machine.input.happen(InputEventType::mouseMoved); }
    void resume() {
        touch(); // on the way to the button
        engine().resumeTracking();
    }

    Session lastFinished() const { return world.finishedSessions().back(); }
    qint64 lastTotal() const { return lastFinished().reportedTotalSeconds.value(); }
    /// How many reports of a session's end the server got.
    qint64 endsReported(const QUuid& id) const {
        return std::ranges::count_if(world.bodies("sessions/heartbeat"), [&](const QJsonObject& body) {
            return body.value("session_uuid") == uuidText(id) && body.value("status") == "completed";
        });
    }

    void startAt(const char* time) {
        world.jumpTo(time);
        world.start("p1", "First");
        world.tick(60);
    }
    /// The sessions that the requests to an endpoint name.
    std::set<std::string> sessionsNamed(const char* endpoint) {
        std::set<std::string> named;
        for (const QJsonObject& body : world.bodies(endpoint))
            named.insert(body.value("session_uuid").toString().toStdString());
        return named;
    }
    std::string runningId() { return uuidText(world.session().id).toStdString(); }
    qint64 today() { return qRound64(engine().todayTotalSeconds()); }
};
