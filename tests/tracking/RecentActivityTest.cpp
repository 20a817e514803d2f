#include "tracking/RecentActivity.h"

#include <gtest/gtest.h>

TEST(RecentActivity, IsTheShareOfSecondsWithInput) {
    RecentActivity activity;
    EXPECT_EQ(activity.rate(), std::nullopt);
    for (const bool hadInput : {true, false, false, false})
        activity.add(hadInput);
    EXPECT_EQ(activity.rate(), 25.0);
    activity.clear();
    EXPECT_EQ(activity.rate(), std::nullopt);
}

TEST(RecentActivity, DropsSecondsOlderThanFiveMinutes) {
    RecentActivity activity;
    activity.add(true);
    for (int second = 0; second < 299; ++second)
        activity.add(false);
    EXPECT_DOUBLE_EQ(activity.rate().value_or(0), 100.0 / 300);
    activity.add(false);
    EXPECT_EQ(activity.rate(), 0.0);
}
