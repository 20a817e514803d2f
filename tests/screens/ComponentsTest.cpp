// The painted components by themselves.

#include "SimulatedStores.h"
#include "ThemeManager.h"
#include "VRButton.h"
#include "VRDecor.h"
#include "VRImages.h"
#include "VRLabel.h"
#include "VRTextField.h"

#include <QCoreApplication>
#include <QDir>
#include <QFocusEvent>
#include <QImage>
#include <QKeyEvent>
#include <QLineEdit>
#include <gtest/gtest.h>

namespace {

struct Components : testing::Test {
    MemoryPreferenceStore preferences;
    ThemeManager theme{preferences};
    VRImages images;
    VREnvironment environment{theme, images};

    static void press(QWidget& widget, Qt::Key key) {
        QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier);
        QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier);
        QCoreApplication::sendEvent(&widget, &down);
        QCoreApplication::sendEvent(&widget, &up);
    }
    static void focus(QWidget& widget, Qt::FocusReason reason) {
        QFocusEvent in(QEvent::FocusIn, reason);
        QCoreApplication::sendEvent(&widget, &in);
    }
    /// The share of the widget's pixels that are of that very colour.
    static double share(QWidget& widget, const QColor& colour) {
        const QImage image = widget.grab().toImage();
        int hits = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                hits += image.pixelColor(x, y) == colour;
        return double(hits) / (image.width() * image.height());
    }
};

} // namespace

TEST_F(Components, ButtonsArePressedByKeyboard) {
    for (const auto look : {VRButton::Look::gradient, VRButton::Look::outline, VRButton::Look::link}) {
        VRButton button(environment, look, "Press", "#press");
        int presses = 0;
        QObject::connect(&button, &VRButton::clicked, [&] { ++presses; });
        button.show();
        for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter, Qt::Key_A})
            press(button, key);
        EXPECT_EQ(presses, 3);
        button.setEnabled(false);
        press(button, Qt::Key_Return);
        EXPECT_EQ(presses, 3);
    }
}

TEST_F(Components, TheRingShowsWhereTheKeyboardWent) {
    VRButton button(environment, VRButton::Look::outline, "Stop", "#stop");
    button.resize(button.sizeHint());
    button.show();
    button.setFocus(Qt::MouseFocusReason);
    focus(button, Qt::MouseFocusReason);
    const QImage byMouse = button.grab().toImage();
    focus(button, Qt::TabFocusReason);
    const bool isOnScreen = button.hasFocus(); // the offscreen window may not be the active one
    EXPECT_EQ(button.showsFocus(), isOnScreen);
    EXPECT_EQ(button.grab().toImage() != byMouse, isOnScreen);
    focus(button, Qt::ActiveWindowFocusReason); // back from another window: as it was
    EXPECT_EQ(button.showsFocus(), isOnScreen);
}

TEST_F(Components, LabelsHoldAnyText) {
    const QString endless(10000, 'W');
    VRLabel line(environment, VR::Type::body, VR::Ink::strong, endless);
    EXPECT_LE(line.minimumSizeHint().width(), 24);
    EXPECT_EQ(line.textFormat(), Qt::PlainText);
    EXPECT_FALSE(line.hasHeightForWidth());

    VRLabel block(environment, VR::Type::body, VR::Ink::strong, {}, 3);
    block.setText("one\ntwo");
    const int two = block.heightForWidth(200);
    block.setText("one");
    EXPECT_EQ(block.heightForWidth(200) * 2, two);
    block.setText(endless); // no blank to break at
    EXPECT_EQ(block.heightForWidth(200), two / 2 * 3);
    EXPECT_EQ(block.heightForWidth(1), two / 2 * 3);
    block.setText(QString());
    EXPECT_GT(block.heightForWidth(200), 0);
}

TEST_F(Components, LabelsTakeTheirColourFromThePalette) {
    VRLabel label(environment, VR::Type::title, VR::Ink::danger, "████");
    label.resize(label.sizeHint());
    EXPECT_GT(share(label, QColor("#E0322F")), 0.3);
    theme.select(VRPalette::byID("black"));
    EXPECT_GT(share(label, QColor("#FF6B6B")), 0.3);
    label.setInk(VR::Ink::good);
    EXPECT_GT(share(label, VR::success), 0.3);
}

TEST_F(Components, DrawingsAreColouredAndKept) {
    for (const QString& file : QDir(":/assets").entryList()) {
        const QString name = file.chopped(4);
        const QImage drawn = images.icon(name, Qt::green, 32, 2).toImage();
        ASSERT_EQ(drawn.size(), QSize(64, 64)) << qPrintable(name);
        int green = 0;
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x) {
                const QColor pixel = drawn.pixelColor(x, y);
                green += pixel.alpha() > 0 && pixel.green() > pixel.red();
            }
        EXPECT_GT(green, 20) << qPrintable(name); // it draws something, in the colour asked for
    }
    EXPECT_EQ(images.icon("VRIconPlay", Qt::red, 16, 1).cacheKey(),
              images.icon("VRIconPlay", Qt::red, 16, 1).cacheKey());
    EXPECT_NE(images.icon("VRIconPlay", Qt::red, 16, 1).cacheKey(),
              images.icon("VRIconPlay", Qt::blue, 16, 1).cacheKey());
    EXPECT_TRUE(images.icon("../../etc/passwd", Qt::red, 16, 1).isNull());
}

TEST_F(Components, ProgressAndClockShowTheirValues) {
    VRProgressBar bar(10);
    bar.resize(200, 10);
    for (const auto& [value, from, to] :
         {std::tuple{0.0, 0.0, 0.01}, {0.5, 0.4, 0.6}, {7.0, 0.9, 1.01}, {-1.0, 0.0, 0.01}}) {
        bar.setValue(value);
        EXPECT_GE(share(bar, Qt::white), from) << value;
        EXPECT_LE(share(bar, Qt::white), to) << value;
    }
    VRClockLabel clock(40);
    clock.setTime("00:00:00");
    const int width = clock.sizeHint().width();
    clock.setTime("11:11:11");
    EXPECT_EQ(clock.sizeHint().width(), width); // figures of one width do not dance
    EXPECT_EQ(clock.accessibleName(), "11:11:11");
    clock.setTime("100:00:00");
    EXPECT_GT(clock.sizeHint().width(), width);
}

TEST_F(Components, TextFieldsTellWhatWasTyped) {
    VRTextField field(environment, "Password", "VRIconLock", "#field", VRTextField::Kind::secret);
    auto* input = field.findChild<QLineEdit*>();
    ASSERT_TRUE(input);
    QStringList edits;
    int submissions = 0;
    QObject::connect(&field, &VRTextField::edited, [&](const QString& text) { edits += text; });
    QObject::connect(&field, &VRTextField::submitted, [&] { ++submissions; });
    input->setText("abc");
    field.setText("abc"); // the same: no echo, and the cursor stays
    press(*input, Qt::Key_Return);
    EXPECT_EQ(edits, QStringList{"abc"});
    EXPECT_EQ(submissions, 1);
    EXPECT_EQ(input->accessibleName(), "Password");
    EXPECT_EQ(input->displayText().contains("abc"), false);
    field.setRevealed(true);
    EXPECT_EQ(input->displayText(), "abc");
    input->setText(QString(5000, 'x'));
    EXPECT_LE(field.text().size(), 1024);
    theme.select(VRPalette::byID("black"));
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(input->palette().color(QPalette::Text), QColor("#F2F2F5"));
}
