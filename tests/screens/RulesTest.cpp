// The pure decisions of the screens, as tables.

#include "Formatting.h"
#include "LoginRules.h"
#include "MotivationalPhrases.h"
#include "OTPEntry.h"
#include "PopoverModel.h"
#include "VR.h"

#include <gtest/gtest.h>

TEST(LoginRules, SayWhatIsWrong) {
    const QString badEmail = "Invalid email format.";
    const QString shortPassword = "Password must be at least 4 characters.";
    struct Case {
        QString email, password;
        std::optional<QString> whileTyping, atThePress;
    };
    const std::vector<Case> cases = {
        {"", "", std::nullopt, "Email cannot be empty."},
        {"", "abc", shortPassword, "Email cannot be empty."},
        {"ann@acme", "", badEmail, badEmail},
        {"ann@acme.c", "abc", badEmail, badEmail},
        {"ann@acme.com\n", "abcd", badEmail, badEmail},
        {"ann acme@acme.com", "abcd", badEmail, badEmail},
        {"<b>@acme.com", "abcd", badEmail, badEmail},
        {"ann@acme.com", "", std::nullopt, "Password cannot be empty."},
        {"ann@acme.com", "abc", shortPassword, shortPassword},
        {"ann@acme.com", "   ", shortPassword, shortPassword},
        {"ann@acme.com", "abcd", std::nullopt, std::nullopt},
        {"A.N+n_1%-@SUB.acme-x.COM", "    ", std::nullopt, std::nullopt},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(LoginRules::clientValidationMessage(c.email, c.password), c.whileTyping)
            << qPrintable(c.email);
        EXPECT_EQ(LoginRules::validationError(c.email, c.password), c.atThePress) << qPrintable(c.email);
    }
}

TEST(OTPEntry, FillsItsBoxes) {
    OTPEntry entry;
    entry.change(2, "12a-34 56789");
    EXPECT_EQ(entry.code(), "123456"); // a paste fills from the first box, whatever box received it
    EXPECT_EQ(entry.focusedField, 5);
    entry.change(3, "");
    EXPECT_EQ(entry.digits[3], "");
    EXPECT_EQ(entry.focusedField, 5); // an emptied box keeps the focus where it was
    EXPECT_FALSE(entry.isComplete());
    entry.change(0, "78");
    EXPECT_EQ(entry.digits, (std::array<QString, 6>{"7", "8", "3", "", "5", "6"}));
    EXPECT_EQ(entry.focusedField, 2);
    entry.change(3, "x");
    EXPECT_EQ(entry.focusedField, 2);
    entry.change(3, "x4");
    EXPECT_EQ(entry.focusedField, 4);
    EXPECT_TRUE(entry.isComplete());
    entry.change(5, "1");
    EXPECT_EQ(entry.focusedField, 5);
    entry.commit(1);
    EXPECT_EQ(entry.focusedField, 2);
}

TEST(Formatting, TellsTimesAndDigits) {
    struct {
        Seconds seconds;
        const char *clock, *hoursMinutes;
    } const durations[] = {{0, "00:00:00", "00:00"},
                           {59.999, "00:00:59", "00:00"},
                           {3661, "01:01:01", "01:01"},
                           {100 * 3600 + 59 * 60, "100:59:00", "100:59"},
                           {-5, "00:00:00", "00:00"}};
    for (const auto& c : durations) {
        EXPECT_EQ(Formatting::duration(c.seconds), c.clock);
        EXPECT_EQ(Formatting::hoursMinutes(c.seconds), c.hoursMinutes);
    }
    struct {
        Seconds ago;
        const char* text;
    } const relatives[] = {{0, "0 seconds ago"},           {1.5, "1 second ago"},
                           {59.9, "59 seconds ago"},       {60, "1 minute ago"},
                           {7199, "1 hour ago"},           {86400, "1 day ago"},
                           {13 * 86400, "1 week ago"},     {65 * 86400, "2 months ago"},
                           {800 * 86400.0, "2 years ago"}, {-120, "in 2 minutes"}};
    for (const auto& c : relatives)
        EXPECT_EQ(Formatting::relative(Date::since2001(1e8 - c.ago), Date::since2001(1e8)), c.text);
    EXPECT_EQ(Formatting::digits("7x5 9", 59), 59);
    EXPECT_EQ(Formatting::digits("123", 24), 12);
    EXPECT_EQ(Formatting::digits("abc", 24), 0);
}

TEST(MotivationalPhrases, TellTheTimeWorked) {
    struct {
        Seconds seconds;
        std::optional<QString> text;
    } const cases[] = {{0, std::nullopt},    {59.9, std::nullopt},   {60, "1 minute"},
                       {3599, "59 minutes"}, {3600, "1 hour"},       {89 * 60, "1 hour"},
                       {90 * 60, "2 hours"}, {10 * 3600, "10 hours"}};
    for (const auto& c : cases)
        EXPECT_EQ(MotivationalPhrases::formatTime(c.seconds), c.text);
    EXPECT_EQ(MotivationalPhrases::active(7, 59), "Let's get started");
    EXPECT_EQ(MotivationalPhrases::active(0, 60), "1 minute making something awesome today");
    EXPECT_EQ(MotivationalPhrases::active(31, 7200), "2 hours of focused work today");
    EXPECT_EQ(MotivationalPhrases::active(-1, 7200), "2 hours of finding your rhythm today");
}

TEST(Routing, PicksTheFirstScreenThatApplies) {
    using Routing::Screen;
    Routing::State state{true, false, true, false, true};
    EXPECT_EQ(Routing::screen(state), Screen::restore);
    state.isRestoringSession = false;
    EXPECT_EQ(Routing::screen(state), Screen::login);
    state.isAuthenticated = true;
    EXPECT_EQ(Routing::screen(state), Screen::forcedUpdate);
    state.forceClientUpdate = false;
    EXPECT_EQ(Routing::screen(state), Screen::permissions); // before the interrupted session
    state.hasRequiredPermissions = true;
    EXPECT_EQ(Routing::screen(state), Screen::interrupted);
    state.hasInterruptedSession = false;
    EXPECT_EQ(Routing::screen(state), Screen::tabs);
    for (const auto& [screen, height] :
         {std::pair{Screen::restore, 480}, std::pair{Screen::forcedUpdate, 340},
          std::pair{Screen::permissions, 320}, std::pair{Screen::tabs, 480}})
        EXPECT_EQ(Routing::contentHeight(screen), height);
}

TEST(Routing, LabelsTheHeader) {
    using Routing::StatusTone;
    struct {
        bool tracking, decision, idle, paused;
        Routing::HeaderStatus status;
    } const cases[] = {
        {false, true, true, true, {"Not Tracking", StatusTone::brand}},
        {true, true, true, true, {"Was Idle", StatusTone::warning}},
        {true, true, false, false, {"Was Idle", StatusTone::success}},
        {true, false, true, true, {"Idle – Paused", StatusTone::warning}},
        {true, false, false, true, {"Paused", StatusTone::warning}},
        {true, false, false, false, {"Tracking", StatusTone::success}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Routing::headerStatus(c.tracking, c.decision, c.idle, c.paused), c.status)
            << qPrintable(c.status.label);
}

TEST(DisplayText, TamesForeignNames) {
    EXPECT_EQ(VR::displayText("a\tb\r\nc"), "a b c");
    EXPECT_EQ(VR::displayText("a\nb", true), "a\nb");
    EXPECT_EQ(VR::displayText(QString("evil") + QChar(0x202E) + "gpj.exe" + QChar(0x2066)), "evilgpj.exe");
    EXPECT_EQ(VR::displayText(QString("a") + QChar(0x2028) + "b" + QChar(0)), "a b");
    EXPECT_EQ(VR::displayText(QString::fromUtf8("مشروع")), QString::fromUtf8("مشروع"));
    const QString family = QString::fromUtf8("👩‍👩‍👧"); // joined by U+200D
    EXPECT_EQ(VR::displayText(family), family);
    EXPECT_LE(VR::displayText(QString(10000, 'W')).size(), 1000);
    EXPECT_EQ(VR::shortName(QString(10000, 'W'), 40).size(), 40);
    EXPECT_FALSE(VR::tooltip("<img src='file:///etc/passwd'>").contains("<img"));
}

TEST(VRPalette, HoldsSevenSchemes) {
    QStringList ids;
    for (const VRPalette& palette : VRPalette::all()) {
        ids += palette.id;
        EXPECT_EQ(palette.isDark, palette.id == "black");
        EXPECT_TRUE(palette.brand700.isValid() && palette.border.isValid() && palette.danger.isValid());
    }
    EXPECT_EQ(ids, (QStringList{"pink", "purple", "orange", "teal", "blue", "black", "brown"}));
    EXPECT_EQ(VRPalette::byID("teal").gradientStops[2], QColor("#5BCBB6"));
    EXPECT_EQ(VRPalette::byID("black").surface, QColor("#26262B"));
    EXPECT_EQ(VRPalette::byID("removed").id, "pink");
}
