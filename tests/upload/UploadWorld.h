#pragma once

#include "APIEndpoints.h"
#include "APITimeZoneResolver.h"
#include "DatabaseProbe.h"
#include "DomainStorage.h"
#include "ISO8601.h"
#include "KeychainService.h"
#include "LogCapture.h"
#include "NetworkMonitor.h"
#include "RetryManager.h"
#include "SimulatedPlatform.h"
#include "UploadService.h"

#include <QDir>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <gtest/gtest.h>

inline QJsonObject jsonObject(const QByteArray& bytes) {
    return QJsonDocument::fromJson(bytes).object();
}

inline const QString sessionText = "0A1B2C3D-0000-4000-8000-000000000007";
inline const Date halfPastNine = ISO8601::parse("2024-05-01T09:30:00Z").value();

/// Ran from half past nine for 90 s, and again from 09:32 on.
inline Session sampleSession() {
    Session sample{QUuid(sessionText), "DEVICE", "41", {}, {}, 12, 34, 56.5, SessionStatus::active, {}, {}};
    const QUuid ids[] = {QUuid("{11111111-0000-4000-8000-00000000000a}"),
                         QUuid("{22222222-0000-4000-8000-00000000000b}")};
    sample.intervals = {{ids[0], halfPastNine, halfPastNine + 90}, {ids[1], halfPastNine + 120, {}}};
    return sample;
}

/// The pipeline on a simulated machine: a real database and real files, virtual time, and a server that
/// answers as told.
struct UploadWorld {
    using Network = SimulatedURLSession;
    QTemporaryDir directory{fastTemporaryFolder()};
    SimulatedPlatform machine{directory.path()};
    DomainStorage domain{machine.preferences};
    APITimeZoneResolver zones{machine.preferences, machine.clock};
    KeychainService keychain{machine.secrets};
    APIEndpoints endpoints{domain, machine.information};
    SQLiteStore store{directory.filePath("Velmora TimeTracker"), domain, machine.clock, machine.random};
    RetryManager retry{machine.clock, machine.random};
    NetworkMonitor network{machine.path};
    int refreshes = 0;
    std::optional<QString> refreshedToken; ///< What a refresh gives.
    UploadTransport transport{machine.urlSession, endpoints, keychain,
                              [this]() -> Task<std::optional<QString>> {
                                  ++refreshes;
                                  co_return std::optional(refreshedToken); // a copy: co_return moves
                              }};
    UploadService service{{transport, retry, network, store, domain, machine.preferences, zones,
                           machine.information, machine.clock, machine.random, machine.worker}};
    std::vector<URLRequest>& requests = machine.urlSession.requests;
    QStringList heard; ///< What the service announced.

    UploadWorld() {
        domain.setBaseURL(QUrl("https://acme.test/api/v1/"));
        keychain.saveAuthTokens({"first-token", "refresh", {}, {}, {}, {}});
        service.setNotifications(
            {[this](const ServerTodayTotal& it) {
                 heard += QString("%1 s on %2").arg(it.totalSeconds).arg(it.date);
             },
             [this](QUuid id, int status) { heard += uuidText(id) + QString(" gone %1").arg(status); }});
        answer(200);
    }
    void reply(const Network::Reply& reply) {
        machine.urlSession.setServer([=](const URLRequest&) { return reply; });
    }
    void answer(int status, const QByteArray& body = {}) { reply(Network::answer(status, body)); }

    void pass(Seconds span) { machine.timeline.advance(span); }
    /// Lets as much virtual time pass as the coroutine takes; gives or throws what it does.
    template <typename T>
    T await(Task<T> task) {
        while (!task.isReady() && machine.timeline.step(3600)) {
        }
        return task.operator co_await().await_resume();
    }
    void run() { await(service.processQueue()); }

    UploadTask add(UploadTaskType type, int priority = 10, const std::optional<QByteArray>& payload = "{}",
                   const std::optional<QString>& path = {}) {
        const QUuid id = machine.random.uuid();
        const Date now = machine.clock.now();
        const UploadTask task{id, QUuid(sessionText), type, path, payload, 0, now, {}, priority};
        store.enqueueUploadTask(task);
        return task;
    }
    UploadTask addScreenshot(const QString& path) { return add(UploadTaskType::screenshot, 10, {}, path); }
    /// A file in a company's folder; its path.
    QString file(const QString& name, Seconds age = 0, const QString& company = "acme.test",
                 const QByteArray& bytes = "picture") {
        const QString folder = directory.filePath("Velmora TimeTracker/captures/" + company);
        QFile file(folder + u'/' + name);
        const QDateTime modified = (machine.clock.now() - age).toDateTime(QTimeZone::utc());
        EXPECT_TRUE(QDir().mkpath(folder) && file.open(QFile::WriteOnly) && file.write(bytes) >= 0 &&
                    file.flush() && file.setFileTime(modified, QFile::FileModificationTime));
        return file.fileName();
    }
    QString picture() { return file(sessionText + "_2023-11-14T22-13-20Z_0.jpg"); }
    /// A closed segment that waits for its upload.
    void closedSegment(int number) { store.upsertActivitySegment({"2023-11-13", number, 60, 90, 5, 7}); }

    QStringList sql(const QByteArray& text) const {
        return querySQLite(directory.filePath("Velmora TimeTracker/timetracker.sqlite"), text)
            .replaceInStrings("|", " ");
    }
    /// Queue rows, most urgent first, as "type status retries".
    QString rows() const {
        return sql("SELECT type, status, retry_count FROM upload_queue ORDER BY priority DESC, created_at, "
                   "rowid")
            .join(", ");
    }
    /// The last part of each request's path.
    QString sent() const {
        QStringList names;
        for (const URLRequest& request : requests)
            names.append(request.url.fileName());
        return names.join(' ');
    }
    /// Seconds until the one row is due.
    double dueIn() const {
        return sql("SELECT next_attempt_at FROM upload_queue").value(0).toDouble() -
               machine.clock.now().secondsSince1970();
    }
    bool circuitIsOpen() const { return !retry.canAttempt(machine.clock.now()); }
    bool circuitOpensAfter(int failures, std::optional<int> status) {
        for (int i = 0; i < failures; ++i)
            retry.registerFailure(status);
        return circuitIsOpen();
    }
};

struct Upload : testing::Test, UploadWorld {};
