// What the store costs over the same statements in a plain loop of library calls, and what the next task
// costs in a queue of 100,000 rows. Fails when a bound is passed. An argument names the folder to work in, so
// that the disk's share can be told from the program's.

#include "platform/simulated/SimulatedStores.h"
#include "platform/simulated/Timeline.h"
#include "storage/DomainStorage.h"
#include "storage/SQLiteStore.h"
#include "storage/StoreStatements.h"

#include <QDir>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <sqlite3.h>

namespace {

constexpr double allowedRatio = 1.3;
constexpr double allowedNextMicroseconds = 1000;
constexpr int rounds = 60;      // measurements of each side, taken in turn
constexpr int callsARound = 20; // operations in a measurement
constexpr Date start = Date::since1970(1'700'000'000);
constexpr const char* domainKey = "acme.test";

QUuid numbered(int number) {
    return QUuid::fromString(QString::asprintf("0a1b2c3d-0000-4000-8000-%012d", number));
}

UploadTask sampleTask(int number) {
    return {.id = numbered(number),
            .sessionId = numbered(7),
            .type = UploadTaskType::heartbeat,
            .filePath = std::nullopt,
            .jsonPayload = QByteArray(600, 'x'),
            .retryCount = 0,
            .createdAt = start + number,
            .status = UploadTaskStatus::pending,
            .priority = 100};
}

Session sampleSession() {
    Session session;
    session.id = numbered(9);
    session.deviceId = uuidText(numbered(8));
    session.projectId = "1234";
    session.projectName = "A project of ordinary name";
    for (int i = 0; i < 8; ++i)
        session.intervals.push_back({numbered(100 + i), start + i * 1000.125, start + i * 1000.125 + 900});
    return session;
}

/// One statement by the library's calls alone. Values that are texts or bytes must outlive the run.
class Plain {
public:
    Plain(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr); }
    ~Plain() { sqlite3_finalize(statement_); }
    Plain(const Plain&) = delete;
    Plain& operator=(const Plain&) = delete;

    Plain& text(const QByteArray& value) {
        sqlite3_bind_text(statement_, ++bound_, value.constData(), static_cast<int>(value.size()), SQLITE_STATIC);
        return *this;
    }
    Plain& text(const char* value) {
        sqlite3_bind_text(statement_, ++bound_, value, -1, SQLITE_STATIC);
        return *this;
    }
    Plain& blob(const QByteArray& value) {
        sqlite3_bind_blob(statement_, ++bound_, value.constData(), static_cast<int>(value.size()), SQLITE_STATIC);
        return *this;
    }
    Plain& real(double value) {
        sqlite3_bind_double(statement_, ++bound_, value);
        return *this;
    }
    Plain& integer(int value) {
        sqlite3_bind_int(statement_, ++bound_, value);
        return *this;
    }
    Plain& null() {
        sqlite3_bind_null(statement_, ++bound_);
        return *this;
    }
    /// Runs to the end, reading every column.
    void run() {
        while (sqlite3_step(statement_) == SQLITE_ROW)
            for (int column = 0; column < sqlite3_column_count(statement_); ++column)
                bytesRead_ += sqlite3_column_bytes(statement_, column);
    }

private:
    sqlite3_stmt* statement_ = nullptr;
    int bound_ = 0;
    long bytesRead_ = 0;
};

double microseconds(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values) {
    std::ranges::nth_element(values, values.begin() + static_cast<long>(values.size() / 2));
    return values[values.size() / 2];
}

/// A store and a plain connection, each on a file of its own with the same schema and rows.
struct Sides {
    explicit Sides(const QString& folder)
        : directory(folder + "/bench-XXXXXX") {
        domain.setBaseURL(QUrl("https://acme.test/api/v1/"));
        { SQLiteStore schema(directory.filePath("plain"), domain, clock); }
        store.emplace(directory.filePath("store"), domain, clock);
        sqlite3_open(directory.filePath("plain/timetracker.sqlite").toUtf8().constData(), &plain);
        sqlite3_exec(plain, Sql::journalMode, nullptr, nullptr, nullptr);
        sqlite3_exec(plain, Sql::foreignKeys, nullptr, nullptr, nullptr);
    }
    ~Sides() { sqlite3_close(plain); }

    QTemporaryDir directory;
    MemoryPreferenceStore preferences;
    DomainStorage domain{preferences};
    Timeline timeline;
    SimulatedClock clock{timeline};
    std::optional<SQLiteStore> store;
    sqlite3* plain = nullptr;
};

struct Operation {
    const char* name;
    std::function<void(int)> byStore;
    std::function<void(int)> byPlain;
};

std::vector<Operation> operations(Sides& sides) {
    SQLiteStore& store = *sides.store;
    sqlite3* db = sides.plain;
    static const QByteArray domain = domainKey, session = uuidText(numbered(7)).toUtf8(), payload(600, 'x');
    static const Session sample = sampleSession();
    static const QByteArray encoded = *encodeSession(sample), sampleId = uuidText(sample.id).toUtf8();
    static const QByteArray device = sample.deviceId.toUtf8(), name = sample.projectName.toUtf8();
    static const std::vector<QByteArray> ids = [] {
        std::vector<QByteArray> texts;
        for (int number = 0; number < rounds * callsARound; ++number)
            texts.push_back(uuidText(numbered(number)).toUtf8());
        return texts;
    }();
    const auto id = [](int number) -> const QByteArray& { return ids[static_cast<std::size_t>(number)]; };
    return {
        {"enqueueUploadTask", [&](int n) { store.enqueueUploadTask(sampleTask(n)); },
         [=](int n) {
             Plain(db, Sql::enqueueUploadTask)
                 .text(id(n))
                 .text(domain)
                 .text(session)
                 .text("heartbeat")
                 .null()
                 .blob(payload)
                 .integer(0)
                 .real(1.7e9 + n)
                 .text("pending")
                 .integer(100)
                 .real(0)
                 .run();
         }},
        {"nextUploadTask", [&](int) { store.nextUploadTask(start + 1e6); },
         [=](int) { Plain(db, Sql::nextUploadTask).text(domain).real(1.8e9).run(); }},
        {"updateUploadTaskStatus",
         [&](int n) { store.updateUploadTaskStatus(numbered(n), UploadTaskStatus::inProgress); },
         [=](int n) { Plain(db, Sql::updateUploadTaskStatus).text("inProgress").text(id(n)).run(); }},
        {"markUploadTaskFailed", [&](int n) { store.markUploadTaskFailed(numbered(n), 1, start); },
         [=](int n) { Plain(db, Sql::markUploadTaskFailed).text("failed").integer(1).real(1.7e9).text(id(n)).run(); }},
        {"markUploadTaskCompleted", [&](int n) { store.markUploadTaskCompleted(numbered(n)); },
         [=](int n) { Plain(db, Sql::markUploadTaskCompleted).text(id(n)).run(); }},
        {"upsertActivitySegment",
         [&](int n) {
             store.upsertActivitySegment({"2024-05-01", n % 144, n, 2, 3, 4});
         },
         [=](int n) {
             Plain(db, Sql::upsertActivitySegment)
                 .text(domain)
                 .text("2024-05-01")
                 .integer(n % 144)
                 .integer(n)
                 .integer(2)
                 .integer(3)
                 .integer(4)
                 .text("")
                 .run();
         }},
        {"pendingActivitySegments (144 rows)", [&](int) { store.pendingActivitySegmentsForUpload("2024-05-02", 0); },
         [=](int) {
             Plain(db, Sql::pendingActivitySegmentsForUpload)
                 .text(domain)
                 .text("2024-05-02")
                 .text("2024-05-02")
                 .integer(0)
                 .run();
         }},
        {"saveActiveSession (8 intervals)", [&](int) { store.saveActiveSession(sample); },
         [=](int) {
             Plain(db, Sql::saveActiveSession)
                 .text(sampleId)
                 .text(domain)
                 .text(device)
                 .text("1234")
                 .text(name)
                 .blob(encoded)
                 .real(1.7e9)
                 .run();
         }},
    };
}

bool compare(Sides& sides) {
    double storeTotal = 0, plainTotal = 0;
    std::printf("%-36s %10s %10s %7s\n", "operation, median in microseconds", "store", "plain", "ratio");
    for (const Operation& operation : operations(sides)) {
        std::vector<double> store, plain;
        for (int round = 0; round < rounds; ++round) {
            const auto calls = [round](const std::function<void(int)>& call) {
                return microseconds([&] {
                           for (int i = 0; i < callsARound; ++i)
                               call(round * callsARound + i);
                       }) /
                       callsARound;
            };
            store.push_back(calls(operation.byStore));
            plain.push_back(calls(operation.byPlain));
        }
        const double a = median(store), b = median(plain);
        std::printf("%-36s %10.1f %10.1f %6.2fx\n", operation.name, a, b, a / b);
        storeTotal += a;
        plainTotal += b;
    }
    const double ratio = storeTotal / plainTotal;
    std::printf("%-36s %10.1f %10.1f %6.2fx (at most %.1fx)\n", "all together", storeTotal, plainTotal, ratio,
                allowedRatio);
    return ratio <= allowedRatio;
}

/// `due` tells for each row, in the order in which they run, the time from which it is due.
double nextAmongManyRows(const QString& folder, const std::function<double(int)>& due) {
    Sides sides(folder);
    sides.store.reset();
    sqlite3* db = nullptr;
    sqlite3_open(sides.directory.filePath("store/timetracker.sqlite").toUtf8().constData(), &db);
    sqlite3_exec(db, "BEGIN;", nullptr, nullptr, nullptr);
    static const QByteArray domain = domainKey;
    for (int n = 0; n < 100000; ++n) {
        const QByteArray id = uuidText(numbered(n)).toUtf8();
        const QByteArray path = "/home/user/captures/" + id + "_2024-05-01T09-30-00+07-00_0.jpg";
        Plain(db, Sql::enqueueUploadTask)
            .text(id)
            .text(domain)
            .text(id)
            .text("screenshot")
            .text(path)
            .null()
            .integer(0)
            .real(1.7e9 + n)
            .text(n % 2 == 0 ? "pending" : "failed")
            .integer(10)
            .real(due(n))
            .run();
    }
    sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    SQLiteStore store(sides.directory.filePath("store"), sides.domain, sides.clock);
    std::vector<double> times;
    for (int round = 0; round < 50; ++round)
        times.push_back(microseconds([&] { store.nextUploadTask(start + 1e6); }));
    return median(times);
}

} // namespace

int main(int argc, char** argv) {
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::tempPath();
    bool isGood = true;
    {
        Sides sides(folder);
        isGood = compare(sides);
    }
    const struct {
        const char* name;
        std::function<double(int)> due;
        bool isBounded;
    } queues[] = {
        {"all due", [](int) { return 0.0; }, true},
        {"the first 100 put off", [](int n) { return n < 100 ? 2e9 : 0.0; }, true},
        {"all put off", [](int) { return 2e9; }, false},
    };
    for (const auto& queue : queues) {
        const double time = nextAmongManyRows(folder, queue.due);
        std::printf("nextUploadTask of 100000 rows, %-22s %10.1f microseconds%s\n", queue.name, time,
                    queue.isBounded ? " (at most 1000)" : "");
        isGood = isGood && (!queue.isBounded || time <= allowedNextMicroseconds);
    }
    return isGood ? 0 : 1;
}
