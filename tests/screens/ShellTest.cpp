// The window and the alerts.

#include "AlertDialog.h"
#include "MainWindow.h"
#include "QtDesktop.h"
#include "ScreensFixture.h"
#include "VRLabel.h"

#include <QAbstractButton>
#include <QDesktopServices>
#include <gtest/gtest.h>

namespace {

/// Takes the place of the browser.
class Browser : public QObject {
    Q_OBJECT

public:
    Browser() {
        for (const char* scheme : {"http", "https", "file", "javascript", "smb"})
            QDesktopServices::setUrlHandler(scheme, this, "open");
    }
    ~Browser() override {
        for (const char* scheme : {"http", "https", "file", "javascript", "smb"})
            QDesktopServices::unsetUrlHandler(scheme);
    }
    QList<QUrl> opened;

public Q_SLOTS:
    void open(const QUrl& url) { opened += url; }
};

struct Shell : testing::Test, ScreensFixture {};

} // namespace

TEST_F(Shell, ClosingMinimisesWhileTracking) {
    world.applyConfig();
    MainWindow window({*root, *login, *tracker}, *theme, images);
    int quits = 0;
    QObject::connect(&window, &MainWindow::quitRequested, [&] { ++quits; });
    window.bringUp();
    tracker->start();
    EXPECT_FALSE(window.close());
    EXPECT_TRUE(window.isMinimized());
    EXPECT_EQ(quits, 0);
    EXPECT_TRUE(tracker->isTracking());
    window.bringUp();
    EXPECT_FALSE(window.isMinimized());
    tracker->stop();
    window.close();
    EXPECT_EQ(quits, 1);
}

TEST_F(Shell, OpensOnlyWebAddresses) {
    Browser browser;
    QtDesktop desktop;
    for (const char* address : {"file:///etc/passwd", "javascript:alert(1)", "smb://host/x", "https:", "",
                                "/bin/sh", "http:///etc/passwd", "ftp://host/x"})
        desktop.open(QUrl(address));
    EXPECT_TRUE(browser.opened.isEmpty());
    desktop.open(QUrl("https://acme.test/get?a=b"));
    EXPECT_EQ(browser.opened, QList<QUrl>{QUrl("https://acme.test/get?a=b")});
}

TEST_F(Shell, AsksAndAnswersOnce) {
    const VREnvironment environment{*theme, images};
    const Alert alert{Alert::Style::warning, true,        "You are <b>idle</b>", QString(10000, 'W'),
                      {"Continue", "Stop"},  "IdleDialog"};
    std::vector<int> answers;
    const auto ask = [&](const auto& answer) {
        auto* dialog = new AlertDialog(
            alert, environment, [&](int button) { answers.push_back(button); }, nullptr);
        dialog->show();
        EXPECT_EQ(dialog->accessibleDescription(), "#IdleDialog");
        EXPECT_LE(dialog->height(), 500);
        EXPECT_TRUE(std::ranges::any_of(dialog->findChildren<VRLabel*>(),
                                        [](auto* label) { return label->text() == "You are <b>idle</b>"; }));
        answer(*dialog);
    };
    ask([](AlertDialog& dialog) {
        qobject_cast<QAbstractButton*>(control(dialog, "#alertContinue"))->click();
    });
    ask([](AlertDialog& dialog) { qobject_cast<QAbstractButton*>(control(dialog, "#alertStop"))->click(); });
    ask([](AlertDialog& dialog) { dialog.close(); });
    ask([](AlertDialog& dialog) { dialog.reject(); });
    EXPECT_EQ(answers, (std::vector{0, 1, 1, 1}));
}

#include "ShellTest.moc"
