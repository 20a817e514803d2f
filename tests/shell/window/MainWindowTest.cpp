#include "shell/window/MainWindow.h"

#include "shell/window/QtDesktop.h"
#include "tests/screens/ScreensFixture.h"

using Window = ScreensFixture;

TEST_F(Window, MinimisesInsteadOfClosingWhileTracking) {
    world.applyConfig();
    MainWindow window(*models, theme, images);
    int quits = 0;
    QObject::connect(&window, &MainWindow::quitRequested, [&] { ++quits; });
    window.bringUp();
    models->tracker.start();
    EXPECT_FALSE(window.close());
    EXPECT_TRUE(window.isMinimized());
    EXPECT_EQ(quits, 0);
    QtDesktop desktop;
    EXPECT_FALSE(desktop.bringWindowToFront());
    desktop.setWindow(window);
    EXPECT_TRUE(desktop.bringWindowToFront());
    EXPECT_FALSE(window.isMinimized());
    models->tracker.stop();
    window.close();
    EXPECT_EQ(quits, 1);
}
