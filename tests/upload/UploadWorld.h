#pragma once

#include "APIEndpoints.h"
#include "APIError.h"
#include "APITimeZoneResolver.h"
#include "DatabaseProbe.h"
#include "DomainStorage.h"
#include "KeychainService.h"
#include "NetworkMonitor.h"
#include "RetryManager.h"
#include "SQLiteStore.h"
#include "SimulatedPlatform.h"
#include "UploadService.h"
#include "UploadTransport.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

/// The pipeline on a simulated machine: a real database and real files, virtual time, and a server that
/// answers as told.
struct UploadWorld {
    using Reply = SimulatedURLSession::Reply;

    UploadWorld();

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
    UploadTransport transport;
    UploadService service;
    std::vector<ServerTodayTotal> totals;
    std::vector<std::pair<QUuid, int>> takeovers;

    Timeline& timeline() { return machine.timeline; }
    std::vector<URLRequest>& requests() { return machine.urlSession.requests; }

    void serverAnswers(int status, const QByteArray& body = {});
    void serverFails(URLError::Code code);

    /// Runs a coroutine to its end, letting as much virtual time pass as it takes.
    template <typename T>
    T await(Task<T> task) {
        std::optional<T> result;
        spawn([](Task<T> awaited,
                 std::optional<T>& into) -> Task<> { into = co_await awaited; }(std::move(task), result),
              "test");
        while (!result && timeline().step(3600)) {
        }
        return result.value();
    }
    void await(Task<> task);
    void run() { await(service.processQueue()); }

    UploadTask add(UploadTaskType type, int priority = 10, const QByteArray& payload = "{}");
    UploadTask addScreenshot(const QString& path);
    /// A picture file of `session` in the current company's folder.
    QString picture(int number, const QByteArray& bytes = "picture", Seconds age = 0);
    QString fileNamed(const QString& name, Seconds age = 0, const QString& company = "acme.test");
    /// A closed segment that waits for its upload.
    void closedSegment(int number, int activeSeconds = 60);

    /// Queue rows, most urgent first, as "type status retries"; `sql` gives any other view.
    QStringList rows() const;
    QStringList sql(const QByteArray& text) const;
    /// Seconds until the one row is due.
    double dueIn() const;
    bool circuitIsOpen() const { return !retry.canAttempt(machine.clock.now()); }

    const QUuid session = QUuid::fromString("{0a1b2c3d-0000-4000-8000-000000000007}");
    const QString sessionText = "0A1B2C3D-0000-4000-8000-000000000007";
    QString captures() const { return directory.filePath("Velmora TimeTracker/captures/acme.test"); }
    /// Ran from 09:30:00 for 90 s, then from 09:32:00 on; both in UTC on 1 May 2024.
    Session sampleSession() const;
};

QJsonObject jsonObject(const QByteArray& bytes);
Date utc(const char* text);
