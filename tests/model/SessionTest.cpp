#include "Session.h"

#include "Json.h"

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace {

QUuid sampleId(int last) {
    return QUuid::fromString(QString::asprintf("0a1b2c3d-0000-4000-8000-%012d", last));
}

Session sampleSession() {
    Session session;
    session.id = sampleId(1);
    session.deviceId = "DEVICE";
    session.projectId = "p-7";
    session.projectName = "Über \"alles\"";
    session.intervals = {{sampleId(2), Date::since2001(700000000.25), Date::since2001(700000060.5)},
                         {sampleId(3), Date::since2001(700000100), std::nullopt}};
    session.mouseCount = 12;
    session.keyboardCount = 9000000000;
    session.activityScore = 41.5;
    return session;
}

QJsonObject sampleJson() {
    return *Json::object(*encodeSession(sampleSession()));
}

std::optional<Session> decoded(const QJsonObject& json) {
    return decodeSession(Json::compact(json));
}

constexpr double infinity = std::numeric_limits<double>::infinity();

} // namespace

TEST(SessionTotals, countIntervalsAndFrozenTotals) {
    const Date asOf = Date::since2001(1000);
    const auto span = [](double from, std::optional<double> to) {
        return TrackingInterval{sampleId(4), Date::since2001(from),
                                to ? std::optional(Date::since2001(*to)) : std::nullopt};
    };
    const struct {
        const char* name;
        std::vector<TrackingInterval> intervals;
        std::optional<qint64> reported;
        double total;
        double reporting;
    } cases[] = {
        {"no intervals", {}, std::nullopt, 0, 0},
        {"closed and open", {span(100, 150.5), span(900, std::nullopt)}, std::nullopt, 150.5, 150.5},
        {"a clock set back costs its own interval only",
         {span(500, 400), span(600, 610)},
         std::nullopt,
         10,
         10},
        {"opened after the date asked for", {span(2000, std::nullopt)}, std::nullopt, 0, 0},
        {"a frozen zero is a total", {span(0, 900)}, 0, 900, 0},
        {"a frozen total wins", {span(0, 900)}, 777, 900, 777},
    };
    for (const auto& c : cases) {
        Session session = sampleSession();
        session.intervals = c.intervals;
        session.reportedTotalSeconds = c.reported;
        EXPECT_DOUBLE_EQ(session.totalSeconds(asOf), c.total) << c.name;
        EXPECT_DOUBLE_EQ(session.totalSecondsForReporting(asOf), c.reporting) << c.name;
    }
}

TEST(SessionPayload, isTheStoredForm) {
    Session session = sampleSession();
    EXPECT_EQ(
        encodeSession(session)->toStdString(),
        R"({"activityScore":41.5,"deviceId":"DEVICE","id":"0A1B2C3D-0000-4000-8000-000000000001",)"
        R"("intervals":[{"id":"0A1B2C3D-0000-4000-8000-000000000002","startedAt":700000000.25,)"
        R"("stoppedAt":700000060.5},{"id":"0A1B2C3D-0000-4000-8000-000000000003","startedAt":700000100}],)"
        R"("keyboardCount":9000000000,"mouseCount":12,"projectId":"p-7","projectName":"Über \"alles\"",)"
        R"("status":"active"})");

    session.status = SessionStatus::completed;
    session.projectId = session.projectName = QString();
    session.intervals.clear();
    session.reportedTotalSeconds = 0;
    session.idleDiscardCutoffAt = Date::since2001(-1.5);
    EXPECT_EQ(encodeSession(session)->toStdString(),
              R"({"activityScore":41.5,"deviceId":"DEVICE","id":"0A1B2C3D-0000-4000-8000-000000000001",)"
              R"("idleDiscardCutoffAt":-1.5,"intervals":[],"keyboardCount":9000000000,"mouseCount":12,)"
              R"("projectId":"","projectName":"","reportedTotalSeconds":0,"status":"completed"})");
    EXPECT_EQ(decodeSession(*encodeSession(session)), session);
}

TEST(SessionPayload, carriesDatesBitForBit) {
    std::mt19937_64 bits(20240501);
    std::uniform_real_distribution<double> near(6e8, 9e8);
    Session session = sampleSession();
    for (int round = 0; round < 5000; ++round) {
        // Every second round any finite pattern of bits, denormals included; else an ordinary date.
        double seconds = near(bits);
        do {
            seconds = round % 2 == 0 ? seconds : std::bit_cast<double>(bits());
        } while (!std::isfinite(seconds));
        session.intervals[1].stoppedAt = Date::since2001(seconds);
        session.activityScore = seconds;
        const auto read = decodeSession(*encodeSession(session));
        ASSERT_TRUE(read) << seconds;
        ASSERT_EQ(std::bit_cast<quint64>(read->intervals[1].stoppedAt->secondsSince2001),
                  std::bit_cast<quint64>(seconds));
        ASSERT_EQ(std::bit_cast<quint64>(read->activityScore), std::bit_cast<quint64>(seconds));
    }
    for (const qint64 count : {std::numeric_limits<qint64>::min(), qint64(9007199254740993), qint64(-1),
                               std::numeric_limits<qint64>::max()}) {
        session.mouseCount = count;
        session.reportedTotalSeconds = count;
        EXPECT_EQ(decodeSession(*encodeSession(session)), session);
    }
}

TEST(SessionPayload, refusesNumbersThatJsonCannotHold) {
    for (const double bad : {infinity, -infinity, std::nan("")}) {
        Session score = sampleSession(), start = score, stop = score, cutoff = score;
        score.activityScore = bad;
        start.intervals[0].startedAt = Date::since2001(bad);
        stop.intervals[0].stoppedAt = Date::since2001(bad);
        cutoff.idleDiscardCutoffAt = Date::since2001(bad);
        for (const Session& session : {score, start, stop, cutoff}) {
            EXPECT_FALSE(encodeSession(session));
        }
    }
}

TEST(SessionPayload, needsEveryKeyAndItsType) {
    const QJsonObject whole = sampleJson();
    for (const QString& key : whole.keys()) {
        QJsonObject missing = whole, null = whole, mistyped = whole;
        missing.remove(key);
        null[key] = QJsonValue::Null;
        mistyped[key] = true;
        for (const QJsonObject& json : {missing, null, mistyped}) {
            EXPECT_FALSE(decoded(json)) << key.toStdString();
        }
    }
    const QJsonObject wholeInterval = whole["intervals"].toArray()[0].toObject();
    for (const QString& key : wholeInterval.keys()) {
        QJsonObject interval = wholeInterval, json = whole;
        interval[key] = true;
        json["intervals"] = QJsonArray{interval};
        EXPECT_FALSE(decoded(json)) << key.toStdString();
    }
    for (const char* garbage : {"", "{", "[]", "null", "\"text\"", "\xff\xfe", "{\"id\":"}) {
        EXPECT_FALSE(decodeSession(garbage)) << garbage;
    }
}

TEST(SessionPayload, readsWhatOthersMayHaveWritten) {
    const struct {
        const char* key;
        QJsonValue value;
        bool isReadable;
    } cases[] = {
        {"status", "paused", true},
        {"status", "completed", true},
        {"status", "Active", false},
        {"status", "stopped", false},
        {"idleDiscardCutoffAt", QJsonValue::Null, true},
        {"idleDiscardCutoffAt", 5, true},
        {"idleDiscardCutoffAt", "5", false},
        {"reportedTotalSeconds", QJsonValue::Null, true},
        {"reportedTotalSeconds", 12, true},
        {"reportedTotalSeconds", 12.5, false},
        {"mouseCount", 1e30, false},
        {"mouseCount", 1.5, false},
        {"id", "0a1b2c3d-0000-4000-8000-000000000001", true},
        {"id", "{0A1B2C3D-0000-4000-8000-000000000001}", false},
        {"id", "0A1B2C3D000040008000000000000001", false},
        {"id", "", false},
        {"intervals", QJsonArray{1}, false},
        {"unknownKey", "ignored", true},
    };
    for (const auto& c : cases) {
        QJsonObject json = sampleJson();
        json[QLatin1StringView(c.key)] = c.value;
        EXPECT_EQ(decoded(json).has_value(), c.isReadable)
            << c.key << ' ' << c.value.toVariant().toString().toStdString();
    }
    QJsonObject paused = sampleJson();
    paused["status"] = "paused";
    EXPECT_EQ(decoded(paused)->status, SessionStatus::paused);
}

TEST(UuidText, isCanonicalInBothDirections) {
    const QUuid id = sampleId(7);
    EXPECT_EQ(uuidText(id), "0A1B2C3D-0000-4000-8000-000000000007");
    EXPECT_EQ(uuidText(QUuid()), "00000000-0000-0000-0000-000000000000");
    EXPECT_EQ(parseUuid(uuidText(id)), id);
    EXPECT_EQ(parseUuid(uuidText(QUuid())), QUuid());
    for (const char* bad : {"", "x", "0A1B2C3D-0000-4000-8000-00000000000",
                            "0A1B2C3D-0000-4000-8000-0000000000071", " 0A1B2C3D-0000-4000-8000-000000000007",
                            "0A1B2C3D-0000-4000-8000-00000000000G", "0A1B2C3D-0000-4000-8000_000000000007"}) {
        EXPECT_FALSE(parseUuid(bad)) << bad;
        EXPECT_TRUE(uuidFromText(bad).isNull()) << bad;
    }
}
