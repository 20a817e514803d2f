#include "platform/linux/x11/X11DisplaySource.h"

#include "X11TestClient.h"
#include "XvfbFixture.h"
#include "tests/support/Eventually.h"

#include <QCoroTask>
#include <QImage>
#include <gtest/gtest.h>

namespace {

/// A colour for each square of 50 pixels.
uint32_t colourAt(int x, int y) {
    return uint32_t((x / 50) * 8 % 256) << 16 | uint32_t((y / 50) * 20 % 256) << 8 | ((x / 50 + y / 50) % 2 ? 200 : 40);
}

/// The result of a picture that is taken without waiting.
PictureResult now(Task<PictureResult> picture) {
    return QCoro::waitFor(std::move(picture));
}

/// True when the picture of `size` shows what is painted in `area`, by the middle of each square.
bool shows(const PictureResult& result, const QRect& area, QSize size) {
    const auto* picture = std::get_if<Picture>(&result);
    const QImage image = picture ? QImage::fromData(picture->jpeg) : QImage();
    if (image.isNull() || image.size() != size || picture->size != size)
        return false;
    for (int y = 25; y < area.height(); y += 50)
        for (int x = 25; x < area.width(); x += 50) {
            const uint32_t painted = colourAt(area.x() + x, area.y() + y);
            const QRgb seen = image.pixel(x * size.width() / area.width(), y * size.height() / area.height());
            for (const int channel : {0, 8, 16})
                if (std::abs(int(seen >> channel & 255) - int(painted >> channel & 255)) > 16)
                    return false;
        }
    return true;
}

} // namespace

TEST(X11DisplaySource, TakesEachMonitorWithAndWithoutSharedMemory) {
    for (const char* options : {"", "-extension MIT-SHM"}) {
        SCOPED_TRACE(options);
        const XvfbServer server("1500x600x24", options);
        const SessionEnvironment environment(server.display());
        X11TestClient(server.display()).paint(QRect(0, 0, 1500, 600), colourAt);
        X11DisplaySource source;
        const auto whole = std::get<0>(source.displays());
        ASSERT_EQ(whole.size(), 1U);
        EXPECT_TRUE(shows(now(source.picture(whole[0], {750, 300}, 0.9)), QRect(0, 0, 1500, 600), {750, 300}));

        // The right one is made first, and a third mirrors the left one.
        ASSERT_EQ(std::system("xrandr --setmonitor right 500/500x600/600+1000+0 none &&"
                              "xrandr --setmonitor left 1000/1000x600/600+0+0 screen &&"
                              "xrandr --setmonitor mirror 1000/1000x600/600+0+0 none"),
                  0);
        const auto two = std::get<0>(source.displays());
        ASSERT_EQ(two.size(), 2U);
        EXPECT_TRUE(shows(now(source.picture(two[1], {500, 600}, 0.9)), QRect(1000, 0, 500, 600), {500, 600}));
        EXPECT_TRUE(shows(now(source.picture(two[0], {1000, 600}, 0.9)), QRect(0, 0, 1000, 600), {1000, 600}));

        ASSERT_EQ(std::system("xrandr --delmonitor right"), 0);
        EXPECT_TRUE(std::holds_alternative<EncodingFailed>(now(source.picture(two[1], {500, 600}, 0.6))));
        EXPECT_TRUE(std::holds_alternative<Picture>(now(source.picture(two[0], {1000, 600}, 0.6))));
    }
}

TEST(X11DisplaySource, ReportsALostServerAndFindsTheNextOne) {
    XvfbServer server;
    const XvfbServer next;
    X11DisplaySource source;
    const SessionEnvironment session(server.display());
    const auto display = std::get<0>(source.displays()).at(0);
    server.kill();
    EXPECT_FALSE(std::get<DisplayError>(now(source.picture(display, {640, 400}, 0.6))).isDenial);
    EXPECT_FALSE(std::get<DisplayError>(source.displays()).isDenial);
    const SessionEnvironment nextSession(next.display());
    EXPECT_EQ(std::get<0>(source.displays()).size(), 1U);
}
