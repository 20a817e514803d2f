#include "platform/linux/session/LinuxPermissions.h"

#include "platform/linux/session/Roads.h"
#include "platform/linux/x11/X11DisplaySource.h"
#include "platform/linux/x11/X11InputListener.h"
#include "tests/platform/x11/X11TestClient.h"
#include "tests/platform/x11/XvfbFixture.h"
#include "tests/support/Eventually.h"

#include <QCoroTask>
#include <gtest/gtest.h>

TEST(SessionKind, IsWaylandWhereverACompositorIsNamed) {
    const struct {
        const char* display;
        const char* waylandDisplay;
        const char* sessionType;
        SessionKind kind;
    } cases[] = {
        {"", "", "", SessionKind::none},
        {":0", "", "", SessionKind::x11},
        {":0", "", "x11", SessionKind::x11},
        {":0", "wayland-0", "x11", SessionKind::wayland},
        {":0", "", "Wayland", SessionKind::wayland},
        {"", "wayland-0", "", SessionKind::wayland},
    };
    for (const auto& [display, waylandDisplay, sessionType, kind] : cases)
        EXPECT_EQ(sessionKind(display, waylandDisplay, sessionType), kind)
            << display << ' ' << waylandDisplay << ' ' << sessionType;
}

TEST(LinuxPermissions, AreWhatTheSessionOffersAtTheMoment) {
    const XvfbServer server, deaf("640x480x24", "-extension RECORD");
    const struct {
        QByteArray display, wayland;
        bool screen, input;
        QString explanation;
    } sessions[] = {
        {"", "", false, false, "This session has no X server for screen pictures and input counting."},
        {server.display(), "wayland-0", false, false,
         "This version offers no screen pictures or input counting on Wayland."},
        {deaf.display(), "", true, false, "The X server does not offer input counting (its RECORD extension is off)."},
        {server.display(), "", true, true, ""},
    };
    for (const auto& session : sessions) {
        SCOPED_TRACE((session.display + ' ' + session.wayland).constData());
        const SessionEnvironment environment(session.display, session.wayland);
        const Roads roads = roadsOf(currentSessionKind());
        LinuxPermissions permissions(*roads.input, *roads.pictures);
        EXPECT_EQ(permissions.canRecordScreen(), session.screen);
        EXPECT_EQ(permissions.inputMonitoringStatus(), session.input ? 0 : 1);
        EXPECT_EQ(permissions.explanation(), session.explanation);
        EXPECT_EQ(roads.input->openTap([](InputEventType) {}) != nullptr, session.input);
    }
}

TEST(LinuxPermissions, AreNotTakenBackByAServerThatTakesNoMoreClients) {
    const XvfbServer server("640x480x24", "-maxclients 64");
    const SessionEnvironment environment(server.display());
    X11TestClient user(server.display());
    X11InputListener input;
    X11DisplaySource displays;
    LinuxPermissions permissions(input, displays);
    std::atomic<int> keys = 0;
    const auto expectGranted = [&] {
        EXPECT_TRUE(permissions.canRecordScreen());
        EXPECT_EQ(permissions.inputMonitoringStatus(), 0);
    };
    std::optional<X11Crowd> crowd(server.display());
    expectGranted();
    EXPECT_FALSE(std::get<DisplayError>(displays.displays()).isDenial);
    const auto tap = input.openTap([&](InputEventType) { ++keys; });
    ASSERT_TRUE(tap);
    crowd.reset();
    EXPECT_TRUE(eventually([&] {
        user.stroke();
        user.sync();
        return keys > 0;
    }));
    ASSERT_EQ(std::get<0>(displays.displays()).size(), 1U);
    crowd.emplace(server.display()); // what is connected already goes on
    expectGranted();
    const auto display = std::get<0>(displays.displays()).at(0);
    EXPECT_TRUE(std::holds_alternative<Picture>(QCoro::waitFor(displays.picture(display, {64, 48}, 0.6))));
}
