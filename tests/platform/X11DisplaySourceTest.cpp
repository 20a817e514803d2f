#include "X11DisplaySource.h"

#include "LinuxPermissions.h"
#include "X11InputListener.h"
#include "X11TestClient.h"
#include "XvfbFixture.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <poll.h>

namespace {

/// A colour for each square of 50 pixels.
uint32_t colourAt(int x, int y) {
    return uint32_t((x / 50) * 8 % 256) << 16 | uint32_t((y / 50) * 20 % 256) << 8 |
           ((x / 50 + y / 50) % 2 ? 200 : 40);
}

std::vector<DisplayDescription> displaysOf(X11DisplaySource& source) {
    const auto found = source.displays();
    const auto* list = std::get_if<std::vector<DisplayDescription>>(&found);
    return list ? *list : std::vector<DisplayDescription>();
}

/// How far the picture of `area` is at most from the colours painted, in the middle of the squares.
int largestError(const PictureResult& result, const QRect& area, double scale) {
    const auto* picture = std::get_if<Picture>(&result);
    if (!picture)
        return 1000;
    const QImage image = QImage::fromData(picture->jpeg);
    if (image.size() != picture->size)
        return 2000;
    int largest = 0;
    for (int y = area.top() + 25; y <= area.bottom(); y += 50)
        for (int x = area.left() + 25; x <= area.right(); x += 50) {
            const QRgb seen = image.pixel(int((x - area.left()) * scale), int((y - area.top()) * scale));
            const QRgb painted = colourAt(x, y);
            largest =
                std::max({largest, std::abs(qRed(seen) - qRed(painted)),
                          std::abs(qGreen(seen) - qGreen(painted)), std::abs(qBlue(seen) - qBlue(painted))});
        }
    return largest;
}

bool setMonitor(const char* name, const char* geometry, const char* output) {
    return ChildProcess({QStringLiteral("xrandr"), QStringLiteral("--setmonitor"), QLatin1String(name),
                         QLatin1String(geometry), QLatin1String(output)})
        .wait();
}

const QStringList withoutSharedMemory{QStringLiteral("-extension"), QStringLiteral("MIT-SHM")};

} // namespace

TEST(X11DisplaySource, TakesEachMonitorWithAndWithoutSharedMemory) {
    for (const auto& options : {QStringList{}, withoutSharedMemory}) {
        SCOPED_TRACE(options.join(QLatin1Char(' ')).toStdString());
        const XvfbServer server(QStringLiteral("1500x600x24"), options);
        const SessionEnvironment environment(server.display());
        X11TestClient(server.display()).paint(QRect(0, 0, 1500, 600), colourAt);
        X11DisplaySource source;

        const auto whole = displaysOf(source);
        ASSERT_EQ(whole.size(), 1U);
        EXPECT_EQ(whole[0].size, QSize(1500, 600));
        EXPECT_LE(largestError(source.picture(whole[0], {1500, 600}, 0.9), QRect(0, 0, 1500, 600), 1), 8);
        EXPECT_LE(largestError(source.picture(whole[0], {750, 300}, 0.9), QRect(0, 0, 1500, 600), 0.5), 16);

        // The right one is made first, and a third mirrors the left one.
        ASSERT_TRUE(setMonitor("right", "500/500x600/600+1000+0", "none"));
        ASSERT_TRUE(setMonitor("left", "1000/1000x600/600+0+0", "screen"));
        ASSERT_TRUE(setMonitor("mirror", "1000/1000x600/600+0+0", "none"));
        const auto two = displaysOf(source);
        ASSERT_EQ(two.size(), 2U);
        EXPECT_EQ(two[0].size, QSize(1000, 600));
        EXPECT_EQ(two[1].size, QSize(500, 600));
        EXPECT_EQ(displaysOf(source), two);
        EXPECT_LE(largestError(source.picture(two[1], {500, 600}, 0.9), QRect(1000, 0, 500, 600), 1), 8);
        EXPECT_LE(largestError(source.picture(two[0], {1000, 600}, 0.9), QRect(0, 0, 1000, 600), 1), 8);
    }
}

TEST(X11DisplaySource, SkipsAMonitorThatChangedOrWentAndGoesOn) {
    const XvfbServer server(QStringLiteral("800x600x24"));
    const SessionEnvironment environment(server.display());
    ASSERT_TRUE(setMonitor("left", "400/400x600/600+0+0", "screen"));
    ASSERT_TRUE(setMonitor("right", "400/400x600/600+400+0", "none"));
    X11DisplaySource source;
    const auto before = displaysOf(source);
    ASSERT_EQ(before.size(), 2U);

    ASSERT_TRUE(
        ChildProcess({QStringLiteral("xrandr"), QStringLiteral("--delmonitor"), QStringLiteral("right")})
            .wait());
    EXPECT_TRUE(std::holds_alternative<EncodingFailed>(source.picture(before[1], {400, 600}, 0.6)));
    DisplayDescription resized = before[0];
    resized.size = QSize(300, 300);
    EXPECT_TRUE(std::holds_alternative<EncodingFailed>(source.picture(resized, {300, 300}, 0.6)));
    EXPECT_TRUE(std::holds_alternative<Picture>(source.picture(before[0], {400, 600}, 0.6)));
}

TEST(X11DisplaySource, ReportsALostServerAndFindsTheNextOne) {
    auto server = std::make_unique<XvfbServer>();
    X11DisplaySource source;
    DisplayDescription display;
    {
        const SessionEnvironment environment(server->display());
        ASSERT_EQ(displaysOf(source).size(), 1U);
        display = displaysOf(source)[0];
        ASSERT_TRUE(std::holds_alternative<Picture>(source.picture(display, {640, 400}, 0.6)));
        server->kill();
        EXPECT_TRUE(std::holds_alternative<DisplayError>(source.picture(display, {640, 400}, 0.6)));
        EXPECT_TRUE(std::holds_alternative<DisplayError>(source.displays()));
    }
    server = std::make_unique<XvfbServer>();
    const SessionEnvironment environment(server->display());
    EXPECT_EQ(displaysOf(source).size(), 1U);
}

TEST(X11DisplaySource, NamesAPixelFormatThatItCannotRead) {
    const XvfbServer server(QStringLiteral("640x480x16"));
    const SessionEnvironment environment(server.display());
    X11DisplaySource source;
    const auto found = source.displays();
    ASSERT_TRUE(std::holds_alternative<DisplayError>(found));
    EXPECT_TRUE(std::get<DisplayError>(found).description.contains(QLatin1String("depth 16")));
    EXPECT_FALSE(source.canTakePicture());
}

TEST(LinuxPermissions, AreWhatTheSessionOffersAtTheMoment) {
    const XvfbServer server;
    X11InputListener input;
    X11DisplaySource displays;
    LinuxPermissions permissions(input, displays);
    for (const auto& [display, wayland] :
         {std::pair<QByteArray, QByteArray>{"", ""}, {":63999", ""}, {server.display(), "wayland-0"}}) {
        const SessionEnvironment environment(display, wayland);
        EXPECT_FALSE(permissions.canRecordScreen()) << display.constData();
        EXPECT_EQ(permissions.inputMonitoringStatus(), 1) << display.constData();
        EXPECT_FALSE(permissions.requestInputMonitoring()) << display.constData();
        EXPECT_TRUE(std::holds_alternative<DisplayError>(displays.displays())) << display.constData();
    }
    const SessionEnvironment environment(server.display());
    EXPECT_TRUE(permissions.canRecordScreen());
    EXPECT_TRUE(permissions.requestInputMonitoring());
    EXPECT_EQ(permissions.inputMonitoringStatus(), 0);
}

TEST(LinuxPermissions, OpenTheSettingsOfTheDesktopInUse) {
    const QTemporaryDir folder;
    for (const char* name : {"gnome-control-center", "xfce4-settings-manager"}) {
        QFile program(folder.filePath(QLatin1String(name)));
        ASSERT_TRUE(program.open(QIODevice::WriteOnly));
        program.write("#!/bin/sh\n: > \"$0.opened\"\n");
        program.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    const QByteArray path = qgetenv("PATH");
    const QByteArray desktop = qgetenv("XDG_CURRENT_DESKTOP");
    qputenv("PATH", folder.path().toLocal8Bit());
    qputenv("XDG_CURRENT_DESKTOP", "XFCE");
    X11InputListener input;
    X11DisplaySource displays;
    LinuxPermissions(input, displays).openScreenRecordingSettings();
    qputenv("PATH", path);
    qputenv("XDG_CURRENT_DESKTOP", desktop);

    const QString opened = folder.filePath(QStringLiteral("xfce4-settings-manager.opened"));
    for (int i = 0; i < 200 && !QFile::exists(opened); ++i)
        poll(nullptr, 0, 10);
    EXPECT_TRUE(QFile::exists(opened));
    EXPECT_FALSE(QFile::exists(folder.filePath(QStringLiteral("gnome-control-center.opened"))));
}
