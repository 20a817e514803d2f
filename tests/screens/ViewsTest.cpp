// Every screen as it is painted: nothing is cut off, nothing breaks the layout, whatever the server sends.

#include "DailyTargetForm.h"
#include "ScreensFixture.h"
#include "VRButton.h"
#include "VRLabel.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QJsonArray>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QPaintEvent>
#include <gmock/gmock.h>

namespace {

const QString endless(10000, 'W');
const QString hostile =
    QString::fromUtf8("<b>مشروع") + QChar(0x202E) + "x</b>\t<img src='file:///etc/passwd'>\n" + endless;

struct Views : testing::Test, ScreensFixture {
    std::unique_ptr<PopoverView> shown;

    void relaunch() {
        shown.reset(); // it stands on the models
        ScreensFixture::relaunch();
    }
    void show(PopoverView::Place place) {
        shown = view(place);
        shown->resize(place == PopoverView::Place::window ? QSize(460, 540) : shown->sizeHint());
        shown->show();
        settle();
    }
    void settle() {
        world.machine.timeline.settle();
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        shown->grab();
    }
    void pressControl(const QString& identifier) {
        auto* button = qobject_cast<QAbstractButton*>(control(*shown, identifier));
        ASSERT_TRUE(button) << qPrintable(identifier);
        button->click();
        settle();
    }

    /// Nothing reaches beyond the width, and what a person must read is whole.
    void expectSound(const char* what, int wholeLabelsUpTo = 60) {
        SCOPED_TRACE(what);
        for (QWidget* widget : shown->findChildren<QWidget*>()) {
            if (!widget->isVisibleTo(shown.get()))
                continue;
            const QRect place(widget->mapTo(shown.get(), QPoint()), widget->size());
            EXPECT_GE(place.left(), 0) << qPrintable(widget->accessibleDescription());
            EXPECT_LE(place.right(), shown->width()) << qPrintable(widget->accessibleDescription());
            const auto* button = dynamic_cast<VRButton*>(widget);
            if (button) {
                EXPECT_FALSE(button->accessibleDescription().isEmpty()) << qPrintable(button->text());
                EXPECT_FALSE(button->text().isEmpty() && button->accessibleName().isEmpty())
                    << qPrintable(button->accessibleDescription());
            }
            if (button && button->text().size() < wholeLabelsUpTo) {
                EXPECT_GE(button->width(), button->fontMetrics().horizontalAdvance(button->text()))
                    << qPrintable(button->text());
            }
            const auto* label = dynamic_cast<VRLabel*>(widget);
            if (label && !label->text().isEmpty() && label->text().size() < wholeLabelsUpTo) {
                EXPECT_GE(label->height(), label->heightForWidth(label->width()))
                    << qPrintable(label->text());
                EXPECT_TRUE(label->hasHeightForWidth() || label->width() + 1 >= label->sizeHint().width())
                    << qPrintable(label->text());
            }
        }
    }
    void inEveryLook(
        const char* what, const std::function<void()>& arrange = [] {}) {
        for (const char* palette : {"pink", "black"}) {
            theme->select(VRPalette::byID(palette));
            for (const auto place : {PopoverView::Place::window, PopoverView::Place::popover}) {
                show(place);
                arrange();
                settle();
                expectSound(what);
            }
        }
    }
};

} // namespace

TEST_F(Views, SignInHoldsInEveryLook) {
    signOut();
    inEveryLook("form");
    login->setEmail(endless);
    login->setPassword("abc");
    login->setNoAccountInfoShown(true);
    inEveryLook("form with a hint");
    login->openForgotPassword();
    inEveryLook("forgot password");
}

TEST_F(Views, CodeAndCompaniesHoldInEveryLook) {
    signOut();
    const QJsonObject token{{"access_token", "a"},
                            {"refresh_token", "r"},
                            {"token_type", "b"},
                            {"expires_at", ""},
                            {"refresh_expires_at", ""}};
    QJsonObject data{{"otp_required", 1}, {"user", QJsonObject{{"email", hostile}}}};
    world.machine.urlSession.setServer([&](const URLRequest&) {
        return SimulatedURLSession::answer(200, QJsonDocument(QJsonObject{{"data", data}}).toJson());
    });
    const auto signIn = [this] {
        login->setEmail("ann@acme.com");
        login->setPassword("abcd");
        spawn(login->performLogin(), "login");
        world.tick(1);
    };
    signIn();
    inEveryLook("one-time code");
    login->backToForm();
    data = {{"user", QJsonObject{{"email", "e"}, {"name", hostile}}},
            {"companies", QJsonArray{QJsonObject{{"name", hostile}, {"endpoint", "a"}},
                                     QJsonObject{{"name", "Acme & Sons"}, {"endpoint", "b"}}}},
            {"data", token}};
    signIn();
    inEveryLook("companies");
}

TEST_F(Views, TheRoadToTheTrackerHoldsInEveryLook) {
    world.machine.secrets.isLocked = true;
    relaunch();
    world.tick(9);
    inEveryLook("slow restore", [this] { EXPECT_TRUE(control(*shown, "#signInInstead")); });
    world.machine.secrets.isLocked = false;
    world.tick(2);
    world.machine.permissions.screenRecording = false;
    world.machine.permissions.inputMonitoring = 1;
    root->checkPermissionsAgain();
    inEveryLook("permissions", [this] {
        auto* words = dynamic_cast<VRLabel*>(control(*shown, "#permissionExplanation"));
        ASSERT_TRUE(words);
        EXPECT_EQ(words->text(),
                  "This desktop session offers no screen pictures or input counting (Wayland or no "
                  "X server).");
    });
    world.config.latestClientVersion = "99." + QString(500, '9');
    world.config.clientDownloadURL = "https://acme.test/get";
    world.applyConfig();
    inEveryLook("forced update", [this] { EXPECT_TRUE(control(*shown, "#ForceUpdate_DownloadButton")); });
}

TEST_F(Views, TrackerHoldsWithHostileNames) {
    world.config.projects = {{"p1", hostile}, {"p2", "A & B"}};
    world.applyConfig();
    world.engine().handleScreenRecordingPermissionLost();
    tracker->chooseTask("p1");
    inEveryLook("idle");
    tracker->start();
    world.engine().applyServerTodayTotal({400 * 3600, "2024-05-15"});
    inEveryLook("active");
    relaunch();
    world.tick(1);
    inEveryLook("interrupted");
}

TEST_F(Views, ShowTheTaskNameAsTextAndOfferItByName) {
    world.config.projects = {{"p1", "<b>bold</b> & more"}};
    world.applyConfig();
    show(PopoverView::Place::window);
    tracker->chooseTask("p1");
    settle();
    EXPECT_THAT(control(*shown, "#taskField")->accessibleName().toStdString(),
                testing::HasSubstr("<b>bold</b> & more"));
    pressControl("#startTracking");
    auto* project = dynamic_cast<QLabel*>(control(*shown, "#projectName"));
    ASSERT_TRUE(project);
    EXPECT_EQ(project->text(), "<b>bold</b> & more");
    EXPECT_EQ(project->textFormat(), Qt::PlainText);
}

TEST_F(Views, ButtonsDriveTheSession) {
    world.applyConfig();
    show(PopoverView::Place::window);
    pressControl("#startTracking");
    EXPECT_FALSE(control(*shown, "#startTracking"));
    EXPECT_EQ(control(*shown, "#dayClock")->accessibleName(), "00:00:00");
    world.tick(3);
    settle();
    EXPECT_EQ(control(*shown, "#dayClock")->accessibleName(), "00:00:03");
    pressControl("#pauseTracking");
    EXPECT_EQ(qobject_cast<QAbstractButton*>(control(*shown, "#pauseTracking"))->text(), "Resume");
    EXPECT_EQ(dynamic_cast<QLabel*>(control(*shown, "#headerStatus"))->text(), "Paused");
    pressControl("#stopTracking");
    EXPECT_TRUE(control(*shown, "#startTracking"));
}

TEST_F(Views, TypingGoesToTheModelAndEnterSubmits) {
    signOut();
    show(PopoverView::Place::window);
    auto* email = qobject_cast<QLineEdit*>(control(*shown, "#loginEmail"));
    auto* password = qobject_cast<QLineEdit*>(control(*shown, "#loginPassword"));
    ASSERT_TRUE(email && password);
    EXPECT_EQ(password->echoMode(), QLineEdit::Password);
    email->setText("ann@acme.com");
    EXPECT_EQ(login->email(), "ann@acme.com");
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QCoreApplication::sendEvent(email, &enter);
    settle();
    EXPECT_EQ(dynamic_cast<QLabel*>(control(*shown, "#loginMessage"))->text(), "Password cannot be empty.");
    pressControl("#loginPasswordEye");
    EXPECT_EQ(password->echoMode(), QLineEdit::Normal);
    EXPECT_EQ(control(*shown, "#loginPasswordEye")->accessibleName(), "Hide password");
    // Tab goes on as the eye does.
    QStringList order;
    for (QWidget* next = email; order.size() < 12; next = next->nextInFocusChain())
        if (next->focusPolicy() & Qt::TabFocus && next->isVisible())
            order += next->accessibleDescription();
    order.removeAll({});
    EXPECT_EQ(order.mid(0, 6), (QStringList{"#loginEmail", "#loginPassword", "#loginPasswordEye",
                                            "#forgotPassword", "#loginButton", "#contactAdministrator"}));
}

TEST_F(Views, OnlyTheClockIsPaintedEachSecond) {
    struct Counter : QObject {
        QMap<QString, int> paints;
        int widestClock = 0;
        bool eventFilter(QObject* watched, QEvent* event) override {
            if (event->type() != QEvent::Paint)
                return false;
            const QString identifier = static_cast<QWidget*>(watched)->accessibleDescription();
            ++paints[identifier];
            if (identifier == "#dayClock")
                widestClock = qMax(widestClock, static_cast<QPaintEvent*>(event)->rect().width());
            return false;
        }
    } counter;
    world.applyConfig();
    tracker->start();
    world.typeFor(70); // the activity rate stands still at 100 %
    show(PopoverView::Place::window);
    QCoreApplication::processEvents(); // the first picture is of everything
    for (QWidget* widget : shown->findChildren<QWidget*>())
        widget->installEventFilter(&counter);
    for (int i = 0; i < 5; ++i) {
        world.typeFor(1);
        QCoreApplication::sendPostedEvents();
    }
    QCoreApplication::processEvents();
    EXPECT_GE(counter.paints.take("#dayClock"), 1);
    EXPECT_LT(counter.widestClock, control(*shown, "#dayClock")->width() / 3); // one figure of eight
    for (const char* still :
         {"#projectName", "#activePhrase", "#stopTracking", "#progressTimes", "#headerStatus"})
        EXPECT_EQ(counter.paints.value(still), 0) << still;
}

TEST_F(Views, APaletteChangeRebuildsNothing) {
    world.applyConfig();
    show(PopoverView::Place::window);
    const auto before = shown->findChildren<QWidget*>();
    const QImage pink = shown->grab().toImage();
    theme->select(VRPalette::byID("black"));
    images.clear();
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(shown->findChildren<QWidget*>(), before);
    EXPECT_NE(shown->grab().toImage(), pink);
    EXPECT_EQ(shown->grab().toImage().pixelColor(4, 300), QColor("#1B1B1F"));
    EXPECT_EQ(ThemeManager(world.machine.preferences).paletteID(), "black"); // kept for the next start
}

TEST_F(Views, TheDailyTargetIsSetInAForm) {
    const VREnvironment environment{*theme, images};
    const auto field = [](DailyTargetForm& form, const char* identifier) {
        return qobject_cast<QLineEdit*>(control(form, identifier));
    };
    DailyTargetForm form(*tracker, environment, nullptr);
    form.show();
    EXPECT_EQ(field(form, "#target_hours")->text(), "8");
    field(form, "#target_hours")->setText("x7y");
    field(form, "#target_minutes")->setText("99");
    EXPECT_EQ(field(form, "#target_minutes")->text(), "59");
    qobject_cast<QAbstractButton*>(control(form, "#saveTarget"))->click();
    EXPECT_EQ(tracker->targetSentence(), "Target: 7h 59m of work");
}

TEST_F(Views, TheTaskMenuOffersEveryTaskAsText) {
    world.config.projects = {{"p1", "<b>R&D</b>"}, {"p2", hostile}, {"p3", "Third"}};
    world.applyConfig();
    tracker->chooseTask("p3");
    show(PopoverView::Place::window);
    const auto fetches = world.bodies("employees/config").size();
    pressControl("#taskField");
    auto* menu = shown->findChild<QMenu*>();
    ASSERT_TRUE(menu && menu->isVisible());
    world.tick(1);
    EXPECT_GT(world.bodies("employees/config").size(), fetches); // asked for with the menu
    ASSERT_EQ(menu->actions().size(), 4);
    EXPECT_EQ(menu->actions()[1]->text(), "<b>R&&D</b>");
    EXPECT_TRUE(menu->actions()[3]->isChecked());
    EXPECT_LT(menu->sizeHint().width(), 600);
    menu->actions()[1]->trigger();
    settle();
    EXPECT_EQ(control(*shown, "#taskField")->accessibleName(), "Task (optional): <b>R&D</b>");
    menu->actions()[0]->trigger();
    EXPECT_EQ(tracker->selectedTaskMenuTitle(), "No task");
    menu->close();
}

TEST_F(Views, BannersComeAndGo) {
    world.config.appTimezone = "UTC";
    world.applyConfig();
    show(PopoverView::Place::window);
    EXPECT_FALSE(control(*shown, "#permissionBannerOpenSettings"));
    world.engine().handleScreenRecordingPermissionLost();
    settle();
    pressControl("#permissionBannerOpenSettings");
    EXPECT_EQ(world.machine.permissions.settingsOpened, 1);
    pressControl("#permissionBannerDismiss");
    EXPECT_FALSE(control(*shown, "#permissionBannerDismiss"));

    // A crash on one day; what it left is ended on another.
    world.start("p1", "First");
    world.typeFor(120);
    relaunch();
    world.jumpTo("2024-05-16T08:00:00Z");
    world.engine().discardInterruptedSession();
    world.applyConfig();
    show(PopoverView::Place::window);
    inEveryLook("midnight banner", [this] {
        auto* task = dynamic_cast<QLabel*>(control(*shown, "#midnightTask"));
        ASSERT_TRUE(task);
        EXPECT_EQ(task->text(), "Task: First");
    });
    pressControl("#midnightStartNew");
    EXPECT_FALSE(control(*shown, "#midnightTask"));
    EXPECT_EQ(tracker->projectName(), "First");
}

TEST_F(Views, TheCodeIsTypedBoxByBox) {
    signOut();
    world.machine.urlSession.setServer([](const URLRequest&) {
        return SimulatedURLSession::answer(200, R"({"data":{"otp_required":1,"user":{"email":"a@b.cd"}}})");
    });
    login->setEmail("ann@acme.com");
    login->setPassword("abcd");
    show(PopoverView::Place::window);
    pressControl("#loginButton");
    world.tick(1);
    settle();
    const auto box = [this](int number) {
        return qobject_cast<QLineEdit*>(control(*shown, QString("#otpDigit%1").arg(number)));
    };
    ASSERT_TRUE(box(1));
    const auto type = [](QLineEdit* field, const QString& text) {
        QKeyEvent key(QEvent::KeyPress, Qt::Key_1, Qt::NoModifier, text);
        QCoreApplication::sendEvent(field, &key);
    };
    type(box(1), "7");
    EXPECT_EQ(login->otp().focusedField, 1);
    type(box(2), "x");
    EXPECT_EQ(box(2)->text(), ""); // no letter stays
    type(box(3), "123456");
    EXPECT_EQ(login->otp().code(), "123456");
    EXPECT_EQ(box(1)->text(), "1");
    EXPECT_TRUE(control(*shown, "#verifyCode")->isEnabled());
    pressControl("#backToLogin");
    EXPECT_TRUE(control(*shown, "#loginButton"));
}

TEST_F(Views, TheProgressBlockTurns) {
    world.applyConfig();
    tracker->start();
    show(PopoverView::Place::window);
    EXPECT_FALSE(control(*shown, "#setTarget"));
    const int height = control(*shown, "#progressTimes")->parentWidget()->height();
    pressControl("#showTarget");
    for (QElapsedTimer turning; !control(*shown, "#setTarget");) {
        if (!turning.isValid())
            turning.start();
        ASSERT_LT(turning.elapsed(), 5000);
        QCoreApplication::processEvents();
    }
    EXPECT_FALSE(control(*shown, "#progressTimes"));
    EXPECT_EQ(control(*shown, "#setTarget")->parentWidget()->height(), height);
    shown->hide(); // a block that is hidden while it turns stands still
    shown->show();
    EXPECT_TRUE(control(*shown, "#setTarget"));
}
