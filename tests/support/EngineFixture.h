#pragma once

#include "application/TimeTrackerCore.h"
#include "model/ISO8601.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "storage/TrackingHeartbeat.h"
#include "tests/support/DatabaseProbe.h"

#include <QTemporaryDir>

/// The program below the screens on a simulated machine with real files: an employee of a company is signed
/// in, and a backend answers every request with what `config` and `todayTotal` say. Requests are recorded in
/// `machine.urlSession`.
class EngineFixture {
public:
    explicit EngineFixture(const char* start = "2024-05-15T09:00:00Z", const QByteArray& machineZone = "UTC");
    ~EngineFixture() {
        tick(5); // exchanges under way come to their end, so that nothing suspended is left behind
        die();
    }

    static Date at(const char* text) { return ISO8601::parse(QString::fromLatin1(text)).value(); }

    QTemporaryDir directory;
    SimulatedPlatform machine;
    RemoteConfig config;                        ///< What the backend serves.
    std::optional<ServerTodayTotal> todayTotal; ///< What the tracking endpoints report back.
    int status = 200;                           ///< What every endpoint but the refresh answers.
    int refreshStatus = 200;

    std::unique_ptr<TimeTrackerCore> core;
    SessionManager& engine() { return core->sessionManager; }
    const Session& session() { return engine().currentSession().value(); }
    QString message() { return engine().lastStatusMessage().value_or(QString()); }

    /// Starts the program and lets everything happen that happens at once. Done by the constructor, too.
    void launch() {
        core = std::make_unique<TimeTrackerCore>(machine.platform());
        machine.timeline.settle();
    }
    /// The process dies: nothing that it had under way goes on.
    void die() { core.reset(), machine.processDied(); }
    void restart() { die(), launch(); }

    void signIn(const QString& url = "https://acme.test/api/v1/", const QString& user = {}) {
        DomainStorage(machine.preferences).setBaseURL(QUrl(url));
        DomainStorage(machine.preferences).setUser(user);
        KeychainService(machine.secrets).saveAuthTokens({"access", "refresh", {}, {}, {}, {}});
    }
    /// The engine gets `config` as from the server.
    void applyConfig() { core->company.apply(config); }

    void start(const QString& projectId = {}, const QString& projectName = {});
    void tick(Seconds span) { machine.timeline.advance(span); }
    /// One key a second.
    void typeFor(int seconds);
    void jumpTo(const char* text) { machine.timeline.jumpWallClock(at(text) - machine.timeline.date()); }

    // What is on disk and what the backend saw.
    std::vector<Session> finishedSessions() const { return storedSessions("session_history"); }
    std::vector<Session> activeSessions() const { return storedSessions("sessions"); }
    QStringList sql(const QByteArray& text) const {
        return querySQLite(directory.filePath("Velmora TimeTracker/timetracker.sqlite"), text);
    }
    std::vector<QJsonObject> bodies(const QString& endpoint) const;
    std::optional<Date> mark(const QUuid& session) const {
        return TrackingHeartbeat::load(session, machine.preferences);
    }

private:
    SimulatedURLSession::Reply answer(const URLRequest& request) const;
    std::vector<Session> storedSessions(const char* table) const;
};
