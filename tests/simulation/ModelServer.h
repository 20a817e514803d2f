#pragma once

#include "model/RemoteConfig.h"
#include "platform/simulated/SimulatedSession.h"
#include "platform/simulated/Timeline.h"

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QSet>
#include <QUuid>
#include <random>

using namespace Qt::StringLiterals;

/// Somebody's sign-in to a company. They differ in the user, the port and the host.
struct Account {
    const char* authority;
    const char* user;

    QString url() const { return u"https://%1/api/v1/"_s.arg(authority); }
    /// As the program files what belongs to it.
    QString key() const { return u"%1 %2"_s.arg(authority, user); }
};
inline constexpr Account accounts[] = {
    {"a.example", "ann@a.example"}, {"a.example", "bob@a.example"}, {"a.example:8443", "ann@a.example"}};

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
        int account = 0;
        bool takenOver = false;
    };
    /// A ten-minute slot as it arrived.
    struct Segment {
        double percent = -1;
        QString zone;
    };
    /// What a request comes from: the type of a queue's row, or "direct" for the heartbeat of a running session.
    struct Row {
        QString type;
        QUuid session;
    };

    ModelServer(Timeline& timeline, quint32 seed);

    RemoteConfig config;
    double faultRate = 0; ///< Share of requests that meet a fault.
    bool isUnreachable = false;
    bool rejectsRefresh = false; ///< The sign-in is over: only a new one helps.
    bool isFailing = false;      ///< Answers 503 to everything.

    QHash<QUuid, SessionRecord> sessions;
    QSet<QString> screenshots;        ///< Names of the pictures received.
    QHash<QString, Segment> segments; ///< By "account date#number".
    int takeoverAnswers = 0;
    QStringList complaints; ///< Of what no program must send.
    int faultsMet = 0;
    /// The session of each request answered with a status that no retry would change, by the type of the row that it
    /// came from.
    QHash<QString, QList<QUuid>> refused;
    /// How many requests of each kind were answered with an error that counts as an attempt.
    QHash<QString, QHash<QUuid, int>> verdicts;
    QHash<QUuid, Seconds> lastReport; ///< Uptime at which a session's start or heartbeat was last sent.
    QSet<QUuid> stumblesOver;         ///< Sessions whose heartbeats get an error until they are taken out.

    bool hasBegun(const QUuid& session) const { return !sessions.value(session).startBodies.isEmpty(); }
    void takeOver(const QUuid& sessionId) { sessions[sessionId].takenOver = true; }
    void expireTokens() { ++tokenGeneration_; }
    QByteArray accessToken(int account) const;
    static QByteArray refreshToken(int account) { return "refresh-" + QByteArray::number(account); }
    /// The process died, or its clock was set: what it was asked to wait for is no longer known.
    void forgetWaits() { notBefore_.clear(); }

    SimulatedURLSession::Reply handle(const URLRequest& request);

private:
    using Reply = SimulatedURLSession::Reply;
    void inspect(const URLRequest& request, const Row& row);
    Reply answer(const URLRequest& request, const Row& row);
    void note(const Reply& reply, const URLRequest& request, const Row& row);
    Reply stumble(const Row& row);
    Reply refuse(const URLRequest& request, const Row& row);
    Reply commit(const URLRequest& request);
    Reply screenshot(const URLRequest& request);
    Reply heartbeat(const QJsonObject& body, const QByteArray& raw);
    Reply batch(const QJsonObject& body, int account);
    Reply todayTotal(int account);
    double chance() { return std::uniform_real_distribution<>(0, 1)(random_); }

    Timeline& timeline_;
    std::mt19937 random_;
    int tokenGeneration_ = 1;
    QHash<QUuid, Date> notBefore_;  ///< By the sessions whose end is to be sent later.
    QSet<QByteArray> unauthorized_; ///< Bodies last answered 401.
};
