#include "capture/ScreenCaptureService.h"

#include "platform/simulated/SimulatedPlatform.h"
#include "storage/APITimeZoneResolver.h"
#include "tests/support/DatabaseProbe.h"
#include "tests/support/LogCapture.h"

#include <QTemporaryDir>
#include <filesystem>

using namespace Qt::StringLiterals;

namespace {

/// A service on a simulated machine, and what it reported.
struct ScreenCapture : testing::Test {
    QTemporaryDir directory{fastTemporaryFolder()};
    SimulatedPlatform machine{directory.path()};
    APITimeZoneResolver zones{machine.preferences, machine.clock};
    SimulatedDisplays displays;
    std::unique_ptr<ScreenCaptureService> service{
        new ScreenCaptureService({displays, machine.permissions, machine.information, zones, machine.clock,
                                  machine.screenCapture, machine.utility})};
    bool eligible = true;
    int asked = 0, lost = 0, complete = 0, failed = 0, pruned = 0;
    const QString prefix = "0A1B2C3D-0000-4000-8000-000000000007_";
    QUuid session{prefix.chopped(1)};
    const QString captures = directory.filePath("Velmora TimeTracker/captures");
    const QString folder = captures + "/acme.test";

    ScreenCapture() { displays.list = {{1, {1920, 1080}, 2}, {2, {1440, 900}, 1}}; }
    void start(qint64 minutes = 5) {
        const auto shouldCapture = [this] { return ++asked, eligible; };
        service->start(session, "acme.test", minutes,
                       {shouldCapture, [this] { ++lost; }, [this] { ++complete; }, [this] { ++failed; },
                        [this](int pictures) { pruned += pictures; }});
    }
    void startAnother(qint64 minutes = 5) {
        session = machine.random.uuid();
        start(minutes);
    }
    void pass(Seconds span) { machine.timeline.advance(span); }
    QStringList files() const { return QDir(folder).entryList(QDir::Files); }
};

} // namespace

TEST_F(ScreenCapture, firstAfterAMinuteThenAtTheInterval) {
    zones.store("America/St_Johns");
    start(5);
    pass(59.9);
    EXPECT_EQ(asked, 0);
    pass(0.1);
    ASSERT_EQ(files().join(' ').remove(prefix), "2023-11-14T18-44-20-03-30_0.jpg 2023-11-14T18-44-20-03-30_1.jpg");
    QFile picture(folder + u'/' + files()[0]);
    EXPECT_TRUE(picture.open(QIODevice::ReadOnly));
    EXPECT_TRUE(picture.readAll().contains("display 1 1920x1080 at 0.6"));
    EXPECT_EQ(Date::fromDateTime(QFileInfo(picture).lastModified()), machine.clock.now());
    service->stop();
    pass(3600);
    EXPECT_EQ(complete, 1);

    const std::pair<qint64, int> inTenMinutes[] = {{4, 3}, {-7, 10}, {INT64_MAX, 1}};
    for (const auto& [minutes, cycles] : inTenMinutes) {
        complete = 0;
        startAnother(minutes);
        pass(600);
        EXPECT_EQ(complete, cycles) << minutes;
    }
}

TEST_F(ScreenCapture, timeToTheNextOneGoesOnAfterAStop) {
    const auto capturesWithin = [this](Seconds span) {
        const int before = complete;
        pass(span);
        service->stop();
        pass(1000);
        return complete - before;
    };
    start(5);
    EXPECT_EQ(capturesWithin(50), 0);
    start(5);
    EXPECT_EQ(capturesWithin(9), 0);
    start(5);
    EXPECT_EQ(capturesWithin(1 + 280), 1); // and 20 seconds are left
    start(1);
    EXPECT_EQ(capturesWithin(20 + 59), 1);
    start(5);
    EXPECT_EQ(capturesWithin(1), 1);
    start(1); // 300 seconds are left, which is more than the interval now
    EXPECT_EQ(capturesWithin(60), 1);
    startAnother(5);
    EXPECT_EQ(capturesWithin(59), 0);
}

TEST_F(ScreenCapture, whileNotEligibleNothingIsProbed) {
    eligible = false;
    machine.permissions.screenRecording = false;
    const LogCapture log;
    start(1);
    pass(180);
    EXPECT_EQ(log.count("Screenshot skipped: shouldCapture=false (paused/idle/not tracking)"), 3);
    EXPECT_EQ(machine.permissions.screenProbes, 0);
    eligible = true;
    pass(120); // the schedule goes on until its owner stops it
    EXPECT_EQ(lost, 2);
    EXPECT_EQ(log.lines(QtCriticalMsg), QStringList(2, "Screenshot skipped: screen recording permission denied"));
    EXPECT_TRUE(files().isEmpty());
}

TEST_F(ScreenCapture, outcomeOfEachFailureAndTheFirstOneEndsTheCycle) {
    using D = SimulatedDisplays;
    const QString source = "Screen capture failed: ";
    const StreamSample blank{true, 0, RawImage{}};
    struct {
        QString error; ///< How it begins.
        int losses, filesLeft;
        std::function<void(D&)> arrange;
    } const cases[] = {
        {source + "no list", 1, 0, [](D& d) { d.listError = "no list"; }},
        {source + "busy", 0, 0, [](D& d) { d.listError = "busy", d.isListErrorDenial = false; }},
        {"Screen capture failed: the session has no display", 0, 0, [](D& d) { d.list = {}; }},
        {source + "simulated picture", 1, 1, [](D& d) { d.failingPictures = {2}; }},
        {"Failed JPEG conversion for display 1", 0, 1, [](D& d) { d.failingEncodings = {2}; }},
        {source + "no stream", 1, 0, [](D& d) { d.streams = true, d.streamError = "no stream"; }},
        {"The stream produced no usable frame for display 1", 0, 0, [](D& d) { d.streams = true; }},
        {"Failed JPEG conversion for display 0", 0, 0, [&](D& d) { d.streams = true, d.streamSamples = {blank}; }},
        {"Failed writing screenshot: ", 0, 0, [this](D&) { QDir(captures).removeRecursively(); }},
    };
    const SimulatedDisplays working = displays;
    for (const auto& [error, losses, filesLeft, arrange] : cases) {
        SCOPED_TRACE(qPrintable(error));
        lost = failed = 0;
        startAnother();
        arrange(displays);
        const LogCapture log;
        pass(70);
        EXPECT_EQ(lost, losses);
        EXPECT_EQ(failed, 1 - losses);
        EXPECT_TRUE(log.lines(QtCriticalMsg).value(0).startsWith(error));
        EXPECT_EQ(log.count("Screenshot cycle skipped: local capture failure (not treated as permission loss; "
                            "will retry next interval)"),
                  1 - losses);
        EXPECT_EQ(files().size(), filesLeft);
        QDir(captures).removeRecursively();
        displays = working;
    }
    EXPECT_EQ(complete, 0);
    QDir().mkpath(folder);
    displays.streams = true;
    displays.streamSamples = {{true, 0, RawImage{{4, 4}, QByteArray(64, 'p')}}};
    pass(300); // the schedule went on
    EXPECT_EQ(complete, 1);
    EXPECT_EQ(files().size(), 2);
}

TEST_F(ScreenCapture, aSlowCycleOutlastsStopButNotTheService) {
    displays.streams = true; // and nothing comes for five seconds
    for (const bool isDestroyed : {false, true}) {
        startAnother(1);
        pass(60 + 4);
        service->stop();
        if (isDestroyed)
            service.reset();
        const LogCapture log;
        pass(600);
        EXPECT_EQ(log.count("Screenshot cycle skipped: "), isDestroyed ? 0 : 1);
    }
    EXPECT_EQ(asked, 2);
}

TEST_F(ScreenCapture, AfterAFullCycleTheFolderKeepsItsFiveHundredNewestFiles) {
    start();
    const auto old = [&](int i) { return folder + u"/%1.jpg"_s.arg(1000 - i); }; // 0 sorts last by name
    for (int i = 0; i < 503; ++i) {
        QFile file(old(i));
        const QDateTime modified = (machine.clock.now() - 10000 + i).toDateTime(QTimeZone::utc());
        ASSERT_TRUE(file.open(QFile::WriteOnly) && file.setFileTime(modified, QFile::FileModificationTime));
    }
    EXPECT_TRUE(QFile::copy(old(9), folder + "/.hidden"));
    const LogCapture log;
    // What cannot be removed counts all the same, or a younger file would go in its place.
    EXPECT_TRUE(QFile::remove(old(4)) && QDir().mkpath(old(4) + "/inner"));
    using std::filesystem::last_write_time;
    last_write_time(old(4).toStdString(), last_write_time(old(3).toStdString()));
    pass(60);
    EXPECT_EQ(files().size(), 500);
    EXPECT_EQ(pruned, 4);
    EXPECT_EQ(log.count("Pruned the 4 oldest of 505 pictures: more than 500 wait to be sent"), 1);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(QFile::exists(old(i)), i > 3) << i;
}
