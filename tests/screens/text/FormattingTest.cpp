#include "screens/text/Formatting.h"
#include "screens/tracker/MotivationalPhrases.h"

#include <gtest/gtest.h>

TEST(Formatting, ReadsTheFirstTwoDigitsOfAnyScript) {
    for (const auto& [text, number] : {std::pair{"0a75", 7}, {"٠٧", 7}, {"1٢3", 12}, {"99", 59}, {"½", 0}})
        EXPECT_EQ(Formatting::digits(text, 59), number) << text;
}

TEST(Formatting, SaysTimesAndHoursOfWork) {
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
