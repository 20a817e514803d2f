#include "shell/window/AlertDialog.h"

#include "shell/window/MainWindow.h"
#include "shell/window/QtDesktop.h"
#include "tests/screens/ScreensFixture.h"

using Alerts = ScreensFixture;

TEST_F(Alerts, StayUntilAButtonIsChosenOrTheyAreWithdrawn) {
    MainWindow window(*models, theme, images);
    QtDesktop desktop;
    desktop.setTheme(theme, images);
    desktop.setWindow(window);
    using Does = std::function<void(QDialog&)>;
    const auto press = [](const char* identifier) {
        return [=](QDialog& dialog) { control<QAbstractButton>(dialog, identifier)->click(); };
    };
    const Does escape = [&](QDialog& dialog) { key(&dialog, Qt::Key_Escape); };
    const Does close = [](QDialog& dialog) { dialog.close(); };
    const Does withdraw = [&](QDialog&) {
        desktop.withdraw("Other");
        desktop.withdraw("Id");
    };
    const QStringList question{"Continue", "Stop"}, notice{"OK"};
    const struct {
        const char* name;
        QStringList buttons;
        std::vector<Does> steps;
        std::vector<int> answers;
    } cases[] = {
        {"a question takes its first button", question, {press("#alertContinue")}, {0}},
        {"a question ignores Escape and closing", question, {escape, close, press("#alertStop")}, {1}},
        {"a question is withdrawn", question, {escape, close, withdraw}, {}},
        {"a notice takes its button", notice, {press("#alertOK")}, {0}},
        {"a notice takes Escape", notice, {escape}, {0}},
        {"a notice takes closing", notice, {close}, {0}},
    };
    for (const auto& [name, buttons, steps, expected] : cases) {
        SCOPED_TRACE(name);
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
