#pragma once

#include "platform/Executor.h"
#include "storage/SQLiteStore.h"

#include <QTimeZone>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class PreferenceStore;

/// One step of a session's life: its new state, and the report for the server that belongs to it. A running
/// session replaces its row; a completed one moves to the history, and its last-alive mark goes.
struct SessionStep {
    Session session;
    std::optional<UploadTask> report;
    QString domainKey; ///< Whom the session belongs to.
};

/// Writes the steps of sessions to the database, in order, each in one transaction. A step that fails stays in
/// memory, with all later ones behind it, and is written again each second until it succeeds. Main thread.
class SessionJournal {
public:
    SessionJournal(SQLiteStore& store, PreferenceStore& preferences, Executor& main);

    /// Called when steps begin to wait, and when none waits any more.
    void setChanged(std::function<void()> changed) { changed_ = std::move(changed); }

    /// Called after each step that was written.
    void setSaved(std::function<void(const SessionStep&)> saved) { saved_ = std::move(saved); }

    void write(SessionStep step);

    /// Why the oldest step waits; absent when none does.
    const std::optional<SQLiteStore::Failure>& failure() const { return failure_; }
    bool holds(const QUuid& session) const;
    /// Whether the report of a step of this session waits.
    bool holdsReport(const QUuid& session) const;
    /// Completed sessions of `domainKey` that the history does not hold yet.
    std::vector<Session> finishedSessions(const QString& domainKey) const;

    /// The last attempt of this process. Logs what could not be written, so that it can be entered by hand; times
    /// in `zone`.
    void close(const QTimeZone& zone);

private:
    void drain();
    bool writeNow(const SessionStep& step);

    SQLiteStore& store_;
    PreferenceStore& preferences_;
    Executor& main_;
    std::function<void()> changed_;
    std::function<void(const SessionStep&)> saved_;
    std::deque<SessionStep> waiting_;
    std::optional<SQLiteStore::Failure> failure_;
    std::unique_ptr<Executor::Timer> retry_;
};
