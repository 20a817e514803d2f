// The window and the alerts.

#include "AlertDialog.h"
#include "MainWindow.h"
#include "QtDesktop.h"
#include "ScreensFixture.h"
#include "VRLabel.h"

using Shell = ScreensFixture;

TEST_F(Shell, ClosingMinimisesWhileTracking) {
    world.applyConfig();
    MainWindow window({*root, *login, *tracker}, theme, images);
    int quits = 0;
    QObject::connect(&window, &MainWindow::quitRequested, [&] { ++quits; });
    window.bringUp();
    tracker->start();
    EXPECT_FALSE(window.close());
    EXPECT_TRUE(window.isMinimized());
    EXPECT_EQ(quits, 0);
    QtDesktop desktop;
    EXPECT_FALSE(desktop.bringWindowToFront());
    desktop.setWindow(window);
    EXPECT_TRUE(desktop.bringWindowToFront());
    EXPECT_FALSE(window.isMinimized());
    tracker->stop();
    window.close();
    EXPECT_EQ(quits, 1);
}

TEST(QtDesktop, OpensOnlyWebAddresses) {
    for (const char* address : {"file:///etc/passwd", "javascript:alert(1)", "/bin/sh", "http:///etc/passwd"})
        EXPECT_FALSE(QtDesktop::mayOpen(QUrl(address))) << address;
    EXPECT_TRUE(QtDesktop::mayOpen(QUrl("https://acme.test/get?a=b")));
}

TEST_F(Shell, AsksAndAnswersOnce) {
    MainWindow window({*root, *login, *tracker}, theme, images);
    QtDesktop desktop;
    desktop.setTheme(theme, images);
    desktop.setWindow(window);
    std::vector<int> answers;
    for (const char* press : {"#alertContinue", "#alertStop", ""}) {
        desktop.present(
            {Alert::Style::warning, true, "<b>idle</b>", QString(10000, 'W'), {"Continue", "Stop"}, "Id"},
            [&](int button) { answers.push_back(button); });
        auto& dialog = *window.findChild<QDialog*>();
        EXPECT_TRUE(dialog.isVisible() && dialog.isModal() && dialog.height() < 500);
        EXPECT_EQ(dialog.accessibleDescription(), "#Id");
        EXPECT_EQ(dialog.findChild<VRLabel*>()->text(), "<b>idle</b>");
        auto* button = control<QAbstractButton>(dialog, press);
        button ? button->click() : dialog.reject();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    EXPECT_EQ(answers, (std::vector{0, 1, 1}));
}
