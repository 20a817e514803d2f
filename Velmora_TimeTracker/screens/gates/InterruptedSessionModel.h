#pragma once

#include <QObject>
#include <QString>

class Clock;
class SessionManager;

/// The screen that offers a session which a crash interrupted. Main thread.
class InterruptedSessionModel : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        SessionManager& sessionManager;
        const Clock& clock;
    };
    explicit InterruptedSessionModel(const Dependencies& dependencies);

    /// "Started 2 hours ago".
    QString interruptedSince() const;
    /// The name of its project; empty if it has none.
    QString interruptedTask() const;
    void resumeInterruptedSession();
    void finishInterruptedSession();

Q_SIGNALS:
    void changed();

private:
    const Dependencies deps_;
};
