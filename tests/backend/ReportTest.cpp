#include "BackendTest.h"

#include "Report.h"

class ReportTest : public BackendTest {
protected:
    ReportTest() { signIn(); }

    QJsonObject reportFor(const char* day) {
        return send(jsonGet(joined({"hr/timetracker/reporting/screenshots/employees?date=", day}))).data();
    }
    void report(const QJsonArray& intervals, int seconds) {
        EXPECT_EQ(send(heartbeat({{u"intervals"_qs, intervals},
                                  {u"started_at"_qs, intervals[0][u"started_at"]},
                                  {u"total_seconds"_qs, seconds}}))
                      .status,
                  200);
    }
    static QJsonObject interval(const char* from, const char* to) {
        return {{u"interval_uuid"_qs, u"CCCCCCCC-0000-4000-8000-000000000001"_qs},
                {u"started_at"_qs, QString::fromLatin1(from)},
                {u"stopped_at"_qs, to ? QJsonValue(QString::fromLatin1(to)) : QJsonValue()}};
    }
};

TEST_F(ReportTest, AnEmptyDayHasNoHours) {
    const QJsonObject report = reportFor("2025-03-14");
    EXPECT_EQ(report[u"summary"][u"stats"][u"total_seconds_formatted"].toString(), u"0s");
    EXPECT_TRUE(report.value(u"hours").isArray());
    EXPECT_TRUE(report.value(u"hours").toArray().isEmpty());
    for (const char* bad : {"", "2025-3-14", "2025-02-30", "today"})
        EXPECT_EQ(send(jsonGet(joined({"hr/timetracker/reporting/screenshots/employees?date=", bad}))).status,
                  422);
}

TEST_F(ReportTest, ADayIsBuiltFromSessionsSegmentsAndPictures) {
    // 10:55 to 11:05, then open from 11:12 for the 8 minutes that the total leaves for it.
    report({interval("2025-03-14T10:55:00+01:00", "2025-03-14T11:05:00+01:00"),
            interval("2025-03-14T11:12:00+01:00", nullptr)},
           600 + 480);
    send(batch({segmentRow(65, {{u"activity_rate"_qs, 80}}), segmentRow(66, {{u"activity_rate"_qs, 20}}),
                segmentRow(67, {{u"activity_rate"_qs, 40}})}));
    const std::string name = joined({session, "_2025-03-14T11-01-00+01-00_0.jpg"});
    send(screenshot(name, jpegOf(4, 4)));

    const QJsonObject report = reportFor("2025-03-14");
    const QJsonObject total = report[u"summary"][u"stats"].toObject();
    EXPECT_EQ(total.value(u"total_seconds").toInt(), 1080);
    EXPECT_EQ(total.value(u"total_seconds_formatted").toString(), u"18m 00s");
    EXPECT_EQ(total.value(u"mouse_movements").toInt(), 30);
    EXPECT_NEAR(total.value(u"activity_rate").toDouble(), 140.0 / 3, 1e-9);
    const QJsonArray hours = report.value(u"hours").toArray();
    ASSERT_EQ(hours.size(), 2);
    EXPECT_EQ(hours[0][u"hour"].toInt(), 10);
    EXPECT_EQ(hours[0][u"stats"][u"total_seconds"].toInt(), 300);
    EXPECT_EQ(hours[1][u"hour"].toInt(), 11);
    EXPECT_EQ(hours[1][u"stats"][u"total_seconds"].toInt(), 780);
    EXPECT_EQ(hours[1][u"stats"][u"activity_rate"].toDouble(), 30);
    const QJsonArray segments = hours[1][u"segments"].toArray();
    ASSERT_EQ(segments.size(), 2);
    EXPECT_EQ(segments[0][u"segment_number"].toInt(), 66);
    EXPECT_EQ(segments[0][u"segment_number_from"].toString(), u"11:00");
    EXPECT_EQ(segments[0][u"segment_number_to"].toString(), u"11:10");
    EXPECT_EQ(segments[0][u"indicator_color"].toString(), u"red");
    EXPECT_EQ(segments[1][u"indicator_color"].toString(), u"orange");
    EXPECT_EQ(hours[0][u"segments"][0][u"indicator_color"].toString(), u"green");
    const QJsonObject picture = segments[0][u"screenshots"][0].toObject();
    EXPECT_EQ(picture.value(u"captured_at").toString(), u"2025-03-14T11:01:00+01:00");
    EXPECT_TRUE(picture.value(u"url_available").toBool() &&
                picture.value(u"thumbnail_url_available").toBool());
    const QString url = picture.value(u"url").toString();
    ASSERT_TRUE(url.startsWith(server->url()));
    EXPECT_EQ(get(url.mid(server->url().size() - 1).toStdString()).raw, jpegOf(4, 4));

    signIn("plain@velmora.example");
    EXPECT_TRUE(reportFor("2025-03-14").value(u"hours").toArray().isEmpty()) << "somebody else's day shows";
}

TEST_F(ReportTest, ASessionAcrossMidnightIsSharedByBothDays) {
    report({interval("2025-03-14T23:55:00+01:00", "2025-03-15T00:15:00+01:00")}, 1200);
    const QJsonObject before = reportFor("2025-03-14");
    const QJsonObject after = reportFor("2025-03-15");
    EXPECT_EQ(before[u"summary"][u"stats"][u"total_seconds"].toInt(), 300);
    EXPECT_EQ(before[u"hours"][0][u"segments"][0][u"segment_number_to"].toString(), u"24:00");
    EXPECT_EQ(after[u"summary"][u"stats"][u"total_seconds"].toInt(), 900);
    EXPECT_TRUE(reportFor("2025-03-16").value(u"hours").toArray().isEmpty());
}

TEST_F(ReportTest, ClockChangesCountToTheHourThatTheClockShowed) {
    report({interval("2025-10-26T02:00:00+02:00", "2025-10-26T02:00:00+01:00")}, 3600);
    const QJsonArray autumn = reportFor("2025-10-26").value(u"hours").toArray();
    ASSERT_EQ(autumn.size(), 1);
    EXPECT_EQ(autumn[0][u"hour"].toInt(), 2);
    report({interval("2025-03-30T01:30:00+01:00", "2025-03-30T03:30:00+02:00")}, 3600);
    const QJsonArray spring = reportFor("2025-03-30").value(u"hours").toArray();
    ASSERT_EQ(spring.size(), 2);
    EXPECT_EQ(spring[0][u"hour"].toInt(), 1);
    EXPECT_EQ(spring[1][u"hour"].toInt(), 3);
    EXPECT_EQ(spring[1][u"stats"][u"total_seconds"].toInt(), 1800);
}

TEST_F(ReportTest, SegmentsOfTwoDevicesAddUpWithinTheirLimits) {
    Outgoing first = batch({segmentRow(60, {{u"activity_rate"_qs, 70}})});
    Outgoing second =
        upload("segments/batch", {{u"device_uuid"_qs, QString::fromLatin1(otherDevice)},
                                  {u"segments"_qs, QJsonArray{segmentRow(60, {{u"activity_rate"_qs, 70}})}}});
    send(first);
    send(second);
    const QJsonArray rows = summary().value(u"segment_rows").toArray();
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0][u"activity_rate"].toDouble(), 100);
    EXPECT_EQ(rows[0][u"mouse_movements"].toInt(), 20);
}

TEST(DurationText, GrowsWithTheDuration) {
    const std::pair<qint64, const char16_t*> cases[] = {{0, u"0s"},        {59, u"59s"},
                                                        {60, u"1m 00s"},   {3599, u"59m 59s"},
                                                        {3600, u"1h 00m"}, {36059, u"10h 00m"}};
    for (const auto& [seconds, text] : cases)
        EXPECT_EQ(backend::durationText(seconds), QStringView(text));
}
