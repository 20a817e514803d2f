#pragma once

#include "model/ISO8601.h"
#include "server/APIEndpoints.h"
#include "server/UploadTransport.h"
#include "storage/APITimeZoneResolver.h"
#include "storage/KeychainService.h"
#include "tests/support/StoreWorld.h"
#include "upload/NetworkMonitor.h"
#include "upload/RetryManager.h"
#include "upload/UploadService.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

using Network = SimulatedURLSession;
inline const QString sessionText = "0A1B2C3D-0000-4000-8000-000000000007";
inline const Date halfPastNine = ISO8601::parse("2024-05-01T09:30:00Z").value();

/// Ran from half past nine for 90 s, and again from 09:32 on.
inline Session sampleSession() {
    const std::vector<TrackingInterval> intervals{
        {QUuid("{11111111-0000-4000-8000-00000000000a}"), halfPastNine, halfPastNine + 90},
        {QUuid("{22222222-0000-4000-8000-00000000000b}"), halfPastNine + 120, {}}};
    return {QUuid(sessionText), "DEVICE", "41", {}, intervals, 12, 34, 56.5, {}, {}, {}};
}

/// The pipeline on a simulated machine: a real database and real files, virtual time, and a server that
/// answers as told.
struct UploadWorld : StoreWorld {
    APITimeZoneResolver zones{machine.preferences, machine.clock};
    KeychainService keychain{machine.secrets};
    APIEndpoints endpoints{domain, machine.information};
    RetryManager retry{machine.clock, machine.random};
    NetworkMonitor network{machine.path};
    int refreshes = 0;
    std::optional<QString> refreshedToken; ///< What a refresh gives.
    UploadTransport transport{
        {machine.urlSession, endpoints, keychain, [this]() -> Task<std::optional<AuthTokens>> {
             ++refreshes;
             co_return refreshedToken ? std::optional(AuthTokens{*refreshedToken, {}, {}, {}, {}, {}}) : std::nullopt;
         }}};
    UploadService service{{transport, retry, network, open(), domain, machine.preferences, zones, machine.information,
                           machine.clock, machine.random, machine.worker}};
    std::vector<URLRequest>& requests = machine.urlSession.requests;
    QStringList heard; ///< What the service announced.
    UploadNotices notices;

    UploadWorld() {
        keychain.saveAuthTokens({"first-token", "refresh", {}, {}, {}, {}});
        service.setNotifications(
            {[this](const ServerTodayTotal& it, const QString&) { heard += it.date + u" %1 s"_s.arg(it.totalSeconds); },
             [this](QUuid id, int status) { heard += uuidText(id) + u" gone %1"_s.arg(status); },
             [this](const UploadNotices& it) { notices = it; }});
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
    bool heartbeatNow() { return await(service.uploadHeartbeatNow(sampleSession(), domain.domainKey())); }

    void add(UploadTaskType type, int priority = 10, const std::optional<QByteArray>& payload = "{}",
             const std::optional<QString>& path = {}) {
        store->enqueueUploadTask(
            {machine.random.uuid(), QUuid(sessionText), type, path, payload, 0, machine.clock.now(), {}, priority});
    }
    void queue(const std::optional<UploadTask>& task) { store->enqueueUploadTask(task.value()); }
    void addScreenshot(const QString& path) { add(screenshot, 10, {}, path); }
    /// A file in a company's folder; its path.
    QString file(const QString& name, Seconds age = 0, const QString& company = "acme.test",
                 const QByteArray& bytes = "picture") {
        const QString path = folder + "/captures/" + company + u'/' + name;
        overwrite(path, bytes, machine.clock.now() - age);
        return path;
    }
    QString picture() { return file(sessionText + "_2023-11-14T22-13-20Z_0.jpg"); }
    /// A closed segment that waits for its upload.
    void closedSegment(int number) { store->upsertActivitySegment({"2023-11-13", number, 60, 90, 5, 7}); }

    /// Queue rows, most urgent first, as "type status retries".
    QString rows() const {
        return sql("SELECT type, status, retry_count FROM upload_queue ORDER BY priority DESC, created_at, "
                   "rowid");
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
        return Date::since1970(sql("SELECT next_attempt_at FROM upload_queue").toDouble()) - machine.clock.now();
    }
    bool circuitIsOpen() const { return !retry.canAttempt(machine.clock.now()); }
    bool circuitOpensAfter(int failures, std::optional<int> status) {
        for (int i = 0; i < failures; ++i)
            retry.registerFailure(status);
        return circuitIsOpen();
    }
};

struct Upload : testing::Test, UploadWorld {};
