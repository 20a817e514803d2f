#include "ScreenCaptureService.h"

#include "APITimeZoneResolver.h"
#include "DatabaseProbe.h"
#include "DomainStorage.h"
#include "LogCapture.h"
#include "SQLiteStore.h"
#include "SimulatedPlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

/// A service on a simulated machine, and what it reported.
struct ScreenCapture : testing::Test {
    QTemporaryDir directory{fastTemporaryFolder()};
    SimulatedPlatform machine{directory.path()};
    DomainStorage domain{machine.preferences};
    APITimeZoneResolver zones{machine.preferences, machine.clock};
    SQLiteStore store{directory.filePath("Velmora TimeTracker"), domain, machine.clock, machine.random};
    std::unique_ptr<ScreenCaptureService> service;
    bool eligible = true;
    int asked = 0;
    int lost = 0;
    int complete = 0;
    const QUuid session = QUuid::fromString("{0a1b2c3d-0000-4000-8000-000000000007}");
    const QString prefix = "0A1B2C3D-0000-4000-8000-000000000007_";

    void SetUp() override {
        domain.setBaseURL(QUrl("https://acme.test/api/v1/"));
        use(machine.displays);
        machine.displays.list = {{1, {1920, 1080}, 2}, {2, {1440, 900}, 1}};
    }
    void use(DisplaySource& displays) {
        service = std::make_unique<ScreenCaptureService>(ScreenCaptureService::Dependencies{
            displays, machine.permissions, machine.information, domain, zones, store, machine.clock,
            machine.screenCapture, machine.utility});
    }
    void start(qint64 minutes = 5) {
        service->start(session, minutes,
                       {[this] {
                            ++asked;
                            return eligible;
                        },
                        [this] { ++lost; }, [this] { ++complete; }});
    }
    void pass(Seconds span) { machine.timeline.advance(span); }
    QStringList files(const QString& company = "acme.test") const {
        return QDir(directory.filePath("Velmora TimeTracker/captures/" + company)).entryList(QDir::Files);
    }
    static unsigned mode(const QString& path) {
        struct stat status = {};
        return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 0777 : 0;
    }
};

/// Displays whose frames take almost as long as they may.
class SlowDisplays : public SimulatedDisplays {
public:
    explicit SlowDisplays(Executor& frames)
        : frames_(frames) {
        streams = true;
    }
    std::unique_ptr<DisplayStream> makeStream(const Display&, QSize) override {
        class Stream : public DisplayStream {
        public:
            explicit Stream(Executor& frames)
                : frames_(frames) {}
            std::optional<DisplayError> start(Handler handler) override {
                frame_ = frames_.after(4.9, [handler] {
                    handler({true, 0, RawImage{{4, 4}, QByteArray(64, 'p')}});
                });
                return std::nullopt;
            }
            void stop() override { frame_.reset(); }

        private:
            Executor& frames_;
            std::unique_ptr<Executor::Timer> frame_;
        };
        return std::make_unique<Stream>(frames_);
    }

private:
    Executor& frames_;
};

const QString skipped =
    "Screenshot cycle skipped: local capture failure (not treated as permission loss; will retry "
    "next interval)";

} // namespace

TEST_F(ScreenCapture, firstAfterAMinuteThenAtTheInterval) {
    const LogCapture log;
    start(5);
    EXPECT_EQ(log.lines(), QStringList("Screenshot timer started: first capture in 1 min, then every 300s"));
    pass(59.9);
    EXPECT_EQ(asked, 0);
    pass(0.1);
    EXPECT_EQ(complete, 1);
    EXPECT_EQ(files(),
              QStringList({prefix + "2023-11-14T22-14-20Z_0.jpg", prefix + "2023-11-14T22-14-20Z_1.jpg"}));
    EXPECT_EQ(
        log.lines(QtInfoMsg).mid(1),
        QStringList({"Screenshot display 0: 1920x1080px, 0 KB", "Screenshot display 1: 1440x900px, 0 KB",
                     "Screenshots captured: 2 display(s), session " + prefix.chopped(1),
                     "Posting captureComplete notification to trigger heartbeat and screenshot upload"}));
    QFile picture(directory.filePath("Velmora TimeTracker/captures/acme.test/" + files()[0]));
    ASSERT_TRUE(picture.open(QIODevice::ReadOnly));
    EXPECT_TRUE(picture.readAll().contains("display 1 1920x1080 at 0.6"));
    EXPECT_EQ(Date::fromDateTime(QFileInfo(picture).lastModified()), machine.clock.now());
    pass(299);
    EXPECT_EQ(complete, 1);
    pass(601);
    EXPECT_EQ(complete, 4);
    service->stop();
    pass(3600);
    EXPECT_EQ(complete, 4);
    for (const qint64 minutes : {qint64(0), qint64(-7), std::numeric_limits<qint64>::min()}) {
        complete = 0;
        start(minutes);
        pass(180);
        EXPECT_EQ(complete, 3) << minutes;
    }
    start(std::numeric_limits<qint64>::max());
    complete = 0;
    pass(86400);
    EXPECT_EQ(complete, 1);
}

TEST_F(ScreenCapture, namesTellTheCyclesStartInTheZoneOfTheCompany) {
    machine.displays.list.resize(1);
    const std::pair<const char*, const char*> zonesAndTokens[] = {
        {"Asia/Ho_Chi_Minh", "2023-11-15T05-14-20+07-00"},
        {"America/St_Johns", "2023-11-14T18-45-20-03-30"},
        {"Nowhere/AtAll", "2023-11-14T22-16-20Z"},
        {"UTC", "2023-11-14T22-17-20Z"}};
    for (const auto& [zone, token] : zonesAndTokens) {
        zones.store(zone);
        start();
        pass(60);
        EXPECT_TRUE(files().contains(prefix + token + "_0.jpg")) << zone << qPrintable(files().join(' '));
    }
    domain.setBaseURL(std::nullopt);
    start();
    pass(60);
    EXPECT_EQ(files("global").size(), 1);
}

TEST_F(ScreenCapture, whileNotEligibleNothingIsProbed) {
    eligible = false;
    machine.permissions.screenRecording = false;
    const LogCapture log;
    start(1);
    pass(180);
    EXPECT_EQ(log.count("Screenshot skipped: shouldCapture=false (paused/idle/not tracking)"), 3);
    EXPECT_EQ(machine.permissions.screenProbes, 0);
    EXPECT_EQ(lost, 0);
    eligible = true;
    pass(60);
    EXPECT_EQ(lost, 1);
    EXPECT_EQ(log.lines(QtCriticalMsg),
              QStringList("Screenshot skipped: screen recording permission denied"));
    pass(60);
    EXPECT_EQ(lost, 2); // the schedule goes on until its owner stops it
    EXPECT_TRUE(files().isEmpty());
}

TEST_F(ScreenCapture, outcomeOfEachFailureAndTheFirstOneEndsTheCycle) {
    struct Case {
        const char* name;
        std::function<void(SimulatedDisplays&)> arrange;
        bool isLoss;
        int filesLeft;
        QString error;
    };
    const auto streams = [](SimulatedDisplays& displays) { displays.streams = true; };
    const StreamSample frame{true, 0, RawImage{{4, 4}, QByteArray(64, 'p')}};
    const Case cases[] = {
        {"list", [](auto& d) { d.listError = "no list"; }, true, 0,
         "ScreenCaptureKit capture failed: no list"},
        {"none", [](auto& d) { d.list.clear(); }, false, 0,
         "ScreenCaptureKit: no displays in shareable content"},
        {"picture", [](auto& d) { d.failingPictures = {1}; }, true, 0,
         "ScreenCaptureKit capture failed: simulated picture error"},
        {"second picture", [](auto& d) { d.failingPictures = {2}; }, true, 1,
         "ScreenCaptureKit capture failed: simulated picture error"},
        {"second encoding", [](auto& d) { d.failingEncodings = {2}; }, false, 1,
         "Failed JPEG conversion for display 1"},
        {"stream", [&](auto& d) { streams(d), d.streamError = "no stream"; }, true, 0,
         "ScreenCaptureKit capture failed: no stream"},
        {"no frame", streams, false, 0, "SCStream produced no usable frame for display 0"},
        {"stream encoding",
         [&](auto& d) {
             streams(d), d.streamSamples = {frame, {true, 0, RawImage{}}};
         },
         false, 0, "Failed JPEG conversion for display 0"},
    };
    const SimulatedDisplays working = machine.displays;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        machine.displays = working;
        c.arrange(machine.displays);
        lost = 0;
        const LogCapture log;
        start();
        pass(70);
        EXPECT_EQ(lost, c.isLoss ? 1 : 0);
        EXPECT_EQ(log.lines(QtCriticalMsg),
                  c.isLoss ? QStringList(c.error) : QStringList({c.error, skipped}));
        EXPECT_EQ(files().size(), c.filesLeft);
        for (const QString& file : files())
            EXPECT_TRUE(QFile::remove(directory.filePath("Velmora TimeTracker/captures/acme.test/" + file)));
    }
    EXPECT_EQ(complete, 0);
    machine.displays = working;
    pass(300); // the schedule went on
    EXPECT_EQ(complete, 1);
}

TEST_F(ScreenCapture, aPictureThatCannotBeWrittenIsALocalFailure) {
    start();
    ASSERT_TRUE(QDir(directory.filePath("Velmora TimeTracker/captures")).removeRecursively());
    const LogCapture log;
    pass(60);
    const QStringList errors = log.lines(QtCriticalMsg);
    ASSERT_EQ(errors.size(), 2);
    EXPECT_TRUE(errors[0].startsWith("Failed writing screenshot: ")) << qPrintable(errors[0]);
    EXPECT_EQ(errors[1], skipped);
    EXPECT_EQ(lost + complete, 0);
}

TEST_F(ScreenCapture, aStreamIsTornDownAfterItsFirstFrame) {
    machine.displays.streams = true;
    machine.displays.streamSamples = {{true, 1, {}}, {true, 0, RawImage{{4, 4}, QByteArray(64, 'p')}}};
    start();
    pass(60);
    EXPECT_EQ(complete, 1);
    EXPECT_EQ(files().size(), 2);
    EXPECT_EQ(machine.displays.streamsStopped, 2);
    EXPECT_EQ(machine.displays.picturesTaken, 0);
}

TEST_F(ScreenCapture, aCycleInFlightOutlastsStopAndStartButNotTheService) {
    machine.displays.streams = true; // no frame comes: each cycle takes five seconds
    const LogCapture log;
    start(1);
    pass(60);
    service->stop();
    EXPECT_EQ(log.count(skipped), 0);
    pass(5);
    EXPECT_EQ(log.count(skipped), 1);

    start(1);
    pass(30);
    start(1); // anew: sixty seconds from here
    pass(59);
    EXPECT_EQ(asked, 1);
    pass(1);
    EXPECT_EQ(asked, 2);
    service.reset();
    pass(600);
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(log.count(skipped), 1);
    EXPECT_EQ(machine.displays.streamsStopped, 2);
}

TEST_F(ScreenCapture, aSlowCycleOverlapsTheNextOne) {
    SlowDisplays displays(machine.main);
    displays.list.assign(13, {1, {10, 10}, 1}); // 13 frames take longer than a minute
    use(displays);
    start(1);
    pass(60 + 62);
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(complete, 0);
    EXPECT_EQ(files().filter("2023-11-14T22-14-20Z").size(), 12);
    pass(63);
    EXPECT_EQ(complete, 2);
    EXPECT_EQ(files().filter("2023-11-14T22-15-20Z").size(), 13);
    service.reset(); // with a third cycle under way
    pass(60);
    EXPECT_EQ(complete, 2);
}

TEST_F(ScreenCapture, filesAreForTheUserAloneWhateverTheMask) {
    const mode_t before = ::umask(0);
    start();
    pass(60);
    ::umask(before);
    const QString folder = directory.filePath("Velmora TimeTracker/captures");
    EXPECT_EQ(mode(folder), 0700U);
    EXPECT_EQ(mode(folder + "/acme.test"), 0700U);
    ASSERT_EQ(files().size(), 2);
    for (const QString& file : files())
        EXPECT_EQ(mode(folder + "/acme.test/" + file), 0600U);
}

TEST_F(ScreenCapture, afterAFullCycleTheFolderKeepsFiveHundredFilesAndAllThatAreQueued) {
    const QString folder = directory.filePath("Velmora TimeTracker/captures/acme.test");
    start();
    for (int i = 0; i < 503; ++i) {
        QFile file(folder + QString("/old%1.jpg").arg(i));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_TRUE(file.setFileTime((machine.clock.now() - 10000 + i).toDateTime(QTimeZone::utc()),
                                     QFileDevice::FileModificationTime));
        if (i >= 3)
            continue;
        UploadTask task;
        task.id = machine.random.uuid();
        task.type = UploadTaskType::screenshot;
        task.filePath = file.fileName();
        store.enqueueUploadTask(task);
    }
    pass(60);
    EXPECT_EQ(files().size(), 500);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(QFile::exists(folder + QString("/old%1.jpg").arg(i)), i < 3 || i > 7) << i;
}
