#include "model/ISO8601.h"

#include <gtest/gtest.h>
#include <limits>

namespace {
constexpr double t0 = 1714530600; // 2024-05-01T02:30:00Z
}

TEST(ISO8601Text, namesTheInstantInTheZone) {
    const std::tuple<QByteArray, double, QString> cases[] = {
        {"Asia/Ho_Chi_Minh", t0, "2024-05-01T09:30:00+07:00"}, {"UTC", t0 + 0.999, "2024-05-01T02:30:00+00:00"},
        {"America/St_Johns", t0, "2024-05-01T00:00:00-02:30"}, {"UTC", -0.25, "1969-12-31T23:59:59+00:00"},
        {"UTC", std::numeric_limits<double>::quiet_NaN(), ""},
    };
    for (const auto& [zone, since1970, wire] : cases) {
        const Date instant = Date::since1970(since1970);
        EXPECT_EQ(ISO8601::wireText(instant, QTimeZone(zone)), wire);
        EXPECT_EQ(ISO8601::text(instant, QTimeZone(zone)), QString(wire).replace("+00:00", "Z"));
    }
}

TEST(ISO8601Parse, isStrict) {
    const std::pair<const char*, double> readable[] = {
        {"2024-05-01T02:30:00Z", t0},
        {"2024-05-01T09:30:00+07:00", t0},
        {"2024-05-01T09:30:00+0700", t0},
        {"2024-04-30T22:00:00-04:30", t0},
    };
    for (const auto& [text, since1970] : readable) {
        EXPECT_EQ(ISO8601::parse(text), Date::since1970(since1970)) << text;
        EXPECT_FALSE(ISO8601::parseWithFraction(text)) << text;
    }
    EXPECT_EQ(ISO8601::parseWithFraction("2024-05-01T09:30:00.125+07:00"), Date::since1970(t0 + 0.125));
    for (const char* text :
         {"2024-05-01T02:30:00.5Z", "2024-05-01T09:30:00+07-00", "2024-05-01T09:30:00+24:00",
          "2024-05-01T09:30:00+07:60", "2024-05-01T09:30:00", "2024-05-01t02:30:00z", "2023-02-29T00:00:00Z",
          "2024-05-01T24:00:00Z", "2024-05-01T23:59:60Z", "2024-05-01T02:30:00Z\n", ""})
        EXPECT_FALSE(ISO8601::parse(text)) << text;
}
