#include "screens/design/VR.h"
#include "screens/design/VRHeroBannerCrop.h"
#include "screens/design/VRImages.h"
#include "screens/signin/LoginRules.h"
#include "screens/signin/OTPEntry.h"
#include "screens/text/Formatting.h"
#include "screens/tracker/MotivationalPhrases.h"

#include <gtest/gtest.h>

using Text = std::optional<QString>;

TEST(LoginRules, SayWhatIsWrong) {
    const char* badEmail = "Invalid email format.";
    const char* shortPassword = "Password must be at least 4 characters.";
    for (const auto& [email, password, whileTyping, atThePress] :
         {std::tuple<const char*, const char*, Text, Text>{"", "", {}, "Email cannot be empty."},
          {"ann@acme.c", "abc", badEmail, badEmail},
          {"ann@acme.com", "", {}, "Password cannot be empty."},
          {"ann@acme.com", "👩👩👧", shortPassword, shortPassword}, // characters, not code units
          {"A.N+n_1%-@SUB.acme-x.COM", "    ", {}, {}}}) {
        EXPECT_EQ(LoginRules::clientValidationMessage(email, password), whileTyping) << email;
        EXPECT_EQ(LoginRules::validationError(email, password), atThePress) << email;
    }
}

TEST(OTPEntry, FillsItsBoxes) {
    OTPEntry entry;
    for (const auto& [box, typed, digits, focus] : {
             // A paste fills from the first box, whatever box received it.
             std::tuple{2, "12a-34 56789", "1 2 3 4 5 6", 5},
             {3, "", "1 2 3  5 6", 3},   // an emptied box keeps the focus
             {0, "78", "7 8 3  5 6", 2}, // boxes past a short paste keep their content
             {3, "٣", "7 8 3 3 5 6", 4}, // digits of any script; nothing else that counts as a number
             {4, "½", "7 8 3 3  6", 4},
             {0, "１𞥒", "1 2 3 3  6", 2},
         }) {
        entry.change(box, typed);
        EXPECT_EQ(QStringList(entry.digits.begin(), entry.digits.end()).join(' '), digits);
        EXPECT_EQ(entry.focusedField, focus) << typed;
        EXPECT_EQ(entry.isComplete(), !QString(digits).contains("  "));
    }
}

TEST(Formatting, ReadsTheFirstTwoDigitsOfAnyScript) {
    for (const auto& [text, number] : {std::pair{"0a75", 7}, {"٠٧", 7}, {"1٢3", 12}, {"99", 59}, {"½", 0}})
        EXPECT_EQ(Formatting::digits(text, 59), number) << text;
}

TEST(Formatting, TellsTimes) {
    for (const auto& [seconds, clock, phrase] : {std::tuple{-5.0, "00:00:00", "Let's get started"},
                                                 {59.999, "00:00:59", "Let's get started"},
                                                 {3599, "00:59:59", "59 minutes of finding your rhythm today"},
                                                 {90 * 60, "01:30:00", "2 hours of finding your rhythm today"},
                                                 {362340, "100:39:00", "101 hours of finding your rhythm today"}}) {
        EXPECT_EQ(Formatting::duration(seconds), clock);
        EXPECT_EQ(Formatting::hoursMinutes(seconds), QString(clock).chopped(3));
        EXPECT_EQ(MotivationalPhrases::active(-1, seconds), phrase); // around the list
    }
}

TEST(DisplayText, TamesForeignNames) {
    const QString family = QString::fromUtf8("👩\u200D👧 مشروع");
    EXPECT_EQ(VR::displayText(family), family);
    EXPECT_EQ(VR::displayText(QString::fromUtf8("a\tb\r\nevil\u202Egpj\u2066\u2028c")), "a b evilgpj c");
    EXPECT_EQ(VR::displayText("a\nb", true), "a\nb");
    EXPECT_EQ(VR::shortName(QString(10000, 'W'), 40).size(), 40);
    EXPECT_FALSE(VR::tooltip("<img src='file:///etc/passwd'>").contains("<img"));
}

TEST(Banners, ADrawingStandsBehindEveryName) {
    for (const VRPalette& palette : VRPalette::all())
        for (const VRBannerSpec& banner : {palette.idleHero(), palette.activeHero(), palette.loginBanner,
                                           palette.forgotBanner, palette.companyBanner})
            EXPECT_FALSE(VRImages::render(banner.imageName, Qt::white, QSize(20, 20), 1).isNull())
                << qPrintable(banner.imageName);
}

TEST(Banners, ACropFillsTheRoomAroundTheFigure) {
    for (const auto& [banner, room, part] :
         {std::tuple<VRBannerSpec, QSizeF, QRectF>{{"", 2, 1, 0.625}, {100, 100}, {0.375, 0, 0.5, 1}},
          {{"", 2, 1, 0.9}, {100, 100}, {0.5, 0, 0.5, 1}}, // the edge is nearer
          {{"", 2}, {400, 100}, {0, 0.25, 1, 0.5}},
          {{"", 2, 1, 0.5, 0}, {400, 100}, {0, 0, 1, 0.5}},
          {{"", 2, 0.5, 0.625, 1}, {200, 100}, {0.375, 0.5, 0.5, 0.5}}})
        EXPECT_EQ(VRHeroBannerCrop::visiblePart(banner, room), part) << banner.charCenterX << ' ' << room.width();
}
