// The screens as they are painted: nothing is cut off, nothing breaks the layout, whatever the server sends.

#include "ScreensFixture.h"
#include "VRButton.h"
#include "VRLabel.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>

namespace {

const QString hostile =
    QString::fromUtf8("<b>مشروع\u202Ex</b>\t<img src='file:///etc/passwd'>\n") + QString(10000, 'W');

struct Views : ScreensFixture {
    Views() { world.applyConfig(); }

    /// Nothing reaches beyond the width, and what a person must read is whole.
    void expectSound() {
        for (QWidget* widget : shown->findChildren<QWidget*>()) {
            if (!widget->isVisibleTo(shown.get()))
                continue;
            SCOPED_TRACE(qPrintable(widget->accessibleDescription() + widget->property("text").toString()));
            const QRect place(widget->mapTo(shown.get(), QPoint()), widget->size());
            EXPECT_TRUE(place.left() >= 0 && place.right() <= shown->width());
            if (const auto* button = dynamic_cast<VRButton*>(widget)) {
                EXPECT_FALSE(button->accessibleDescription().isEmpty());
                EXPECT_GE(button->width(), button->fontMetrics().horizontalAdvance(button->text()));
            }
            const auto* label = dynamic_cast<VRLabel*>(widget);
            if (label && label->text().size() < 100) {
                EXPECT_GE(label->height(), label->heightForWidth(label->width()));
                EXPECT_FALSE(label->isElided());
            }
        }
    }
    /// `sign` tells that it is the screen that was meant.
    void inEveryLook(const QString& sign) {
        SCOPED_TRACE(qPrintable(sign));
        for (const char* palette : {"pink", "black"})
            for (const auto place : {PopoverView::Place::window, PopoverView::Place::popover}) {
                theme.select(VRPalette::byID(palette));
                show(place);
                EXPECT_TRUE(control(*shown, sign));
                EXPECT_EQ(shown->grab().toImage().pixelColor(0, shown->height() - 1),
                          theme.palette().appBackground);
                expectSound();
            }
    }
    void signIn(const QByteArray& reply) {
        world.machine.urlSession.setServer([reply](const URLRequest&) {
            return SimulatedURLSession::answer(reply.isEmpty() ? 500 : 200, reply);
        });
        login->backToForm();
        login->setEmail("ann@acme.com");
        login->setPassword("abcd");
        spawn(login->performLogin(), "login");
        world.tick(1);
        QCoreApplication::sendPostedEvents();
    }
    void key(QWidget* to, int key, const QString& text = {}) {
        QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier, text);
        QCoreApplication::sendEvent(to, &down);
        settle();
    }
};

} // namespace

TEST_F(Views, SignInHoldsInEveryLook) {
    signOut();
    QByteArray name = hostile.toUtf8().replace('\t', "\\t").replace('\n', "\\n");
    signIn(R"({"data":{"otp_required":1,"user":{"email":")" + name + "\"}}}");
    inEveryLook("#verifyCode");
    signIn(
        R"({"data":{"user":{"email":"e","name":")" + name + R"("},"companies":[{"name":")" + name +
        R"(","endpoint":"a"},{"name":"A & B","endpoint":"b"}],"data":{"access_token":"a","refresh_token":"r",)"
        R"("token_type":"b","expires_at":"","refresh_expires_at":""}}})");
    inEveryLook("#company");
    signIn({});
    login->setNoAccountInfoShown(true);
    inEveryLook("#closeNoAccount");
    login->openForgotPassword();
    inEveryLook("#sendResetLink");
}

TEST_F(Views, TheProgramHoldsInEveryLook) {
    world.config.projects = {{"p1", hostile}, {"p2", "A & B"}};
    world.applyConfig();
    world.engine().handleScreenRecordingPermissionLost();
    tracker->chooseTask("p1");
    inEveryLook("#permissionBannerOpenSettings");
    press("#taskField");
    EXPECT_EQ(shown->findChild<QMenu*>()->actions()[2]->text(), "A && B");
    key(control(*shown, "#startTracking"), Qt::Key_Return);
    world.engine().applyServerTodayTotal({400 * 3600, "2024-05-15"});
    inEveryLook("#stopTracking");
    EXPECT_EQ(text("#dayClock"), "400:00:00");
    relaunch();
    inEveryLook("#resumeInterrupted");
    world.jumpTo("2024-05-16T08:00:00Z"); // what a crash left on one day is ended on another
    world.engine().discardInterruptedSession();
    world.applyConfig();
    inEveryLook("#midnightTask");
    press("#midnightStartNew");
    EXPECT_EQ(control<QLabel>(*shown, "#projectName")->textFormat(), Qt::PlainText);
    world.machine.permissions.screenRecording = false;
    root->checkPermissionsAgain();
    inEveryLook("#permissionExplanation");
    world.config.latestClientVersion = "99." + QString(500, '9');
    world.config.clientDownloadURL = "https://acme.test/get";
    world.applyConfig();
    EXPECT_FALSE(tracker->canStart());
    inEveryLook("#ForceUpdate_DownloadButton");
    press("#ForceUpdate_DownloadButton");
    EXPECT_EQ(world.machine.desktop.opened, std::vector{QUrl("https://acme.test/get")});
    world.machine.secrets.isLocked = true;
    relaunch();
    world.tick(9);
    inEveryLook("#signInInstead");
    press("#signInInstead");
    EXPECT_TRUE(control(*shown, "#loginButton"));
    EXPECT_EQ(ThemeManager(world.machine.preferences).paletteID(), "black"); // kept for the next start
}

TEST_F(Views, MeasureTheDayAgainstItsTarget) {
    world.engine().applyServerTodayTotal({4 * 3600 + 59, "2024-05-15"});
    for (const auto& [hours, minutes, sentence, progress] :
         {std::tuple{0, 0, "Target: 8 work hours", "50% of 04:00 / 08:00"},
          {7, 30, "Target: 7h 30m of work", "53% of 04:00 / 07:30"},
          {30, 90, "Target: 24 work hours", "16% of 04:00 / 24:00"}}) {
        tracker->setDailyTarget(hours, minutes);
        EXPECT_EQ(tracker->targetSentence(), sentence);
        EXPECT_EQ(tracker->progressPercent() + " of " + tracker->progressTimes(), progress);
    }
}

TEST_F(Views, TypingGoesToTheModelAndEnterSubmits) {
    signOut();
    show();
    auto* password = control<QLineEdit>(*shown, "#loginPassword");
    password->setText("abcd");
    key(password, Qt::Key_Return);
    EXPECT_EQ(text("#loginMessage"), "Email cannot be empty.");
    EXPECT_NE(password->displayText(), "abcd");
    press("#loginPasswordEye");
    EXPECT_EQ(password->displayText(), "abcd");
    signIn(R"({"data":{"otp_required":1,"user":{"email":"a@b.cd"}}})");
    key(control(*shown, "#otpDigit2"), Qt::Key_1, "x"); // no letter stays
    EXPECT_EQ(text("#otpDigit2"), "Digit 2 of 6");
    key(control(*shown, "#otpDigit3"), Qt::Key_1, "123456");
    EXPECT_EQ(text("#otpDigit1"), "Digit 1 of 61");
}
