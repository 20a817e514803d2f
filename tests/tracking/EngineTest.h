#pragma once

#include "tests/support/EngineFixture.h"
#include <gtest/gtest.h>

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
};
