#pragma once

#include "RemoteConfig.h"
#include "SimulatedSession.h"
#include "Timeline.h"

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QSet>
#include <QUuid>
#include <random>

/// The backend of the simulated world, with a ledger of everything that it accepted. What it accepts is
/// committed at the moment the request is sent; its answer may then be late, lost, or wrong.
class ModelServer {
public:
    struct SessionRecord {
        QSet<QByteArray> startBodies; ///< What reported its start.
        QSet<QByteArray> completedBodies;
        qint64 completedSeconds = 0;
        qint64 reportedSeconds = 0;
        QDateTime startedAt;
        bool takenOver = false;
    };

    ModelServer(Timeline& timeline, quint32 seed);

    RemoteConfig config;
    double faultRate = 0; ///< Share of requests that meet a fault.
    bool isUnreachable = false;
    bool rejectsRefresh = false; ///< The sign-in is over: only a new one helps.
    bool isFailing = false;      ///< Answers 503 to everything.

    QHash<QUuid, SessionRecord> sessions;
    QSet<QString> screenshots;       ///< Names of the pictures received.
    QHash<QString, double> segments; ///< The tracked percentage by "date#number".
    int takeoverAnswers = 0;
    int unknownSessions = 0; ///< Heartbeats of sessions whose start has neither come nor been refused.
    int faultsMet = 0;
    /// The session of each request answered with a status that no retry would change, by the type of the row that it
    /// came from.
    QHash<QString, QList<QUuid>> refused;

    bool hasBegun(const QUuid& session) const { return !sessions.value(session).startBodies.isEmpty(); }
    void takeOver(const QUuid& sessionId) { sessions[sessionId].takenOver = true; }
    void expireTokens() { ++tokenGeneration_; }
    QByteArray accessToken() const { return "access-" + QByteArray::number(tokenGeneration_); }

    SimulatedURLSession::Reply handle(const URLRequest& request);

private:
    using Reply = SimulatedURLSession::Reply;
    Reply refuse(const URLRequest& request);
    Reply commit(const URLRequest& request);
    Reply heartbeat(const QJsonObject& body, const QByteArray& raw);
    Reply batch(const QJsonObject& body);
    Reply todayTotal();
    double chance() { return std::uniform_real_distribution<>(0, 1)(random_); }

    Timeline& timeline_;
    std::mt19937 random_;
    int tokenGeneration_ = 1;
};
