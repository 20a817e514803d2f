#pragma once

#include <QObject>

class AppStateManager;
class Desktop;
class SessionManager;

/// The alerts about the running session: the idle question and the notice of a take-over. Main thread.
class SessionAlerts : public QObject {
public:
    SessionAlerts(SessionManager& sessionManager, const AppStateManager& appState, Desktop& desktop);

    /// Asks whether to continue or stop, but not while a forced update blocks the program. The question is withdrawn when
    /// the session continues or ends in another way.
    void presentIdleQuestion();
    /// Says that another device resumed the session.
    void presentTakeover();

private:
    void answerIdleQuestion(int button);
    void withdrawLapsedIdleQuestion();

    SessionManager& sessionManager_;
    const AppStateManager& appState_;
    Desktop& desktop_;
    bool isAskingAboutIdleness_ = false;
};
