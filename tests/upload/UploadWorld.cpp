#include "UploadWorld.h"

#include "DatabaseProbe.h"
#include "ISO8601.h"

#include <QDir>
#include <QFile>

UploadWorld::UploadWorld()
    : transport(machine.urlSession, endpoints, keychain,
                [this]() -> Task<std::optional<QString>> {
                    ++refreshes;
                    co_return std::optional(refreshedToken); // a copy: co_return moves what has a name
                })
    , service({transport, retry, network, store, domain, machine.preferences, zones, machine.information,
               machine.clock, machine.random, machine.worker}) {
    domain.setBaseURL(QUrl("https://acme.test/api/v1/"));
    keychain.saveAuthTokens({"first-token", "refresh", {}, {}, {}, {}});
    service.setNotifications({[this](ServerTodayTotal total) { totals.push_back(total); },
                              [this](QUuid id, int status) { takeovers.emplace_back(id, status); }});
    serverAnswers(200);
}

void UploadWorld::serverAnswers(int status, const QByteArray& body) {
    machine.urlSession.setServer(
        [status, body](const URLRequest&) { return SimulatedURLSession::answer(status, body); });
}

void UploadWorld::serverFails(URLError::Code code) {
    machine.urlSession.setServer([code](const URLRequest&) { return SimulatedURLSession::failure(code); });
}

void UploadWorld::await(Task<> task) {
    await([](Task<> awaited) -> Task<bool> {
        co_await awaited;
        co_return true;
    }(std::move(task)));
}

UploadTask UploadWorld::add(UploadTaskType type, int priority, const QByteArray& payload) {
    UploadTask task;
    task.id = machine.random.uuid();
    task.sessionId = type == UploadTaskType::activitySegment ? QUuid() : session;
    task.type = type;
    task.jsonPayload = payload;
    task.createdAt = machine.clock.now();
    task.priority = priority;
    store.enqueueUploadTask(task);
    return task;
}

UploadTask UploadWorld::addScreenshot(const QString& path) {
    UploadTask task = add(UploadTaskType::screenshot);
    task.filePath = path;
    task.jsonPayload.reset();
    store.enqueueUploadTask(task);
    return task;
}

QString UploadWorld::picture(int number, const QByteArray& bytes, Seconds age) {
    const QString path = fileNamed(sessionText + QString("_2023-11-14T22-13-20Z_%1.jpg").arg(number), age);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Append));
    file.write(bytes);
    return path;
}

QString UploadWorld::fileNamed(const QString& name, Seconds age, const QString& company) {
    const QString folder = directory.filePath("Velmora TimeTracker/captures/" + company);
    EXPECT_TRUE(QDir().mkpath(folder));
    QFile file(folder + u'/' + name);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_TRUE(file.setFileTime((machine.clock.now() - age).toDateTime(QTimeZone::utc()),
                                 QFileDevice::FileModificationTime));
    return file.fileName();
}

void UploadWorld::closedSegment(int number, int activeSeconds) {
    store.upsertActivitySegment({"2023-11-13", number, activeSeconds, 90, 5, 7});
}

QStringList UploadWorld::sql(const QByteArray& text) const {
    return querySQLite(directory.filePath("Velmora TimeTracker/timetracker.sqlite"), text)
        .replaceInStrings("|", " ");
}

QStringList UploadWorld::rows() const {
    return sql(
        "SELECT type, status, retry_count FROM upload_queue ORDER BY priority DESC, created_at, rowid");
}

double UploadWorld::dueIn() const {
    const QStringList found = sql("SELECT next_attempt_at FROM upload_queue");
    EXPECT_EQ(found.size(), 1);
    return found.value(0).toDouble() - machine.clock.now().secondsSince1970();
}

Session UploadWorld::sampleSession() const {
    Session sample;
    sample.id = session;
    sample.deviceId = "DEVICE";
    sample.projectId = "41";
    sample.mouseCount = 12;
    sample.keyboardCount = 34;
    sample.activityScore = 56.5;
    sample.intervals = {
        {QUuid::fromString("{11111111-0000-4000-8000-00000000000a}"), utc("2024-05-01T09:30:00Z"),
         utc("2024-05-01T09:31:30Z")},
        {QUuid::fromString("{22222222-0000-4000-8000-00000000000b}"), utc("2024-05-01T09:32:00Z"), {}}};
    return sample;
}

QJsonObject jsonObject(const QByteArray& bytes) {
    return QJsonDocument::fromJson(bytes).object();
}

Date utc(const char* text) {
    return ISO8601::parse(text).value();
}
