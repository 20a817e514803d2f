#include "ScreensFixture.h"
#include "shell/window/AlertDialog.h"
#include "shell/window/MainWindow.h"
#include "shell/window/QtDesktop.h"

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

TEST_F(Shell, AsksUntilAButtonIsChosenOrTheQuestionIsWithdrawn) {
    MainWindow window({*root, *login, *tracker}, theme, images);
    QtDesktop desktop;
    desktop.setTheme(theme, images);
    desktop.setWindow(window);
    using Does = std::function<void(QDialog&)>;
    const auto press = [](const char* identifier) {
        return [=](QDialog& dialog) { control<QAbstractButton>(dialog, identifier)->click(); };
    };
    const Does escape = [&](QDialog& dialog) { key(&dialog, Qt::Key_Escape); };
    const Does close = [](QDialog& dialog) { dialog.close(); };
    const Does withdraw = [&](QDialog&) { desktop.withdraw("Other"), desktop.withdraw("Id"); };
    const QStringList question{"Continue", "Stop"}, notice{"OK"};
    const std::tuple<QStringList, std::vector<Does>, std::vector<int>> cases[] = {
        {question, {press("#alertContinue")}, {0}},
        {question, {escape, close, press("#alertStop")}, {1}},
        {question, {escape, close, withdraw}, {}},
        {notice, {press("#alertOK")}, {0}},
        {notice, {escape}, {0}},
        {notice, {close}, {0}},
    };
    for (const auto& c : cases) {
        const auto& [buttons, steps, expected] = c;
        SCOPED_TRACE(&c - cases);
        std::vector<int> answers;
        desktop.present({Alert::Style::warning, true, "<b>idle</b>", QString(10000, 'W'), buttons, "Id"},
                        [&](int button) { answers.push_back(button); });
        auto& dialog = *window.findChild<QDialog*>();
        EXPECT_EQ(dialog.accessibleDescription(), "#Id");
        EXPECT_EQ(dialog.findChild<VRLabel*>()->text(), "<b>idle</b>");
        for (const Does& step : steps) {
            EXPECT_TRUE(dialog.isVisible() && dialog.isModal() && dialog.height() < 500);
            step(dialog);
        }
        settle();
        EXPECT_FALSE(window.findChild<QDialog*>());
        EXPECT_EQ(answers, expected);
    }
}
