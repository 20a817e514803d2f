#pragma once

#include "platform/Executor.h"
#include "platform/Task.h"
#include "screens/tracker/TrackerNotices.h"

#include <QObject>
#include <QString>
#include <memory>
#include <optional>
#include <vector>

class AppStateManager;
class CompanyAccount;
class PermissionService;
class PreferenceStore;
class Random;
class RemoteConfigService;
class SessionManager;

/// The tracker tab: its two banners, the idle view and the active view. Main thread.
class TrackerModel : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        SessionManager& sessionManager;
        AppStateManager& appState;
        RemoteConfigService& remoteConfig;
        CompanyAccount& company;
        PermissionService& permissions;
        PreferenceStore& preferences;
        Random& random;
        Executor& main;
    };
    explicit TrackerModel(const Dependencies& dependencies);

    bool isTracking() const;

    // Banners.
    bool permissionWasLost() const;
    void openPermissionSettings();
    void dismissPermissionLost();
    /// The project of the session that midnight ended; absent if there is none.
    std::optional<QString> crossDayTask() const;
    void startNewSession();
    void dismissCrossDayBanner();

    // The notices.
    std::vector<Notice> notices() const;
    /// The action of a notice's button: fetches the configuration.
    void performNoticeAction();

    // The idle view.
    /// Called when the view is shown; selects a new phrase.
    void idleViewAppeared();
    const QString& idlePhrase() const { return idlePhrase_; }
    bool canStart() const;
    void start();
    QString selectedTaskMenuTitle() const;
    struct TaskChoice {
        QString id;
        QString name;
        bool isCurrent = false;
    };
    /// "No task", then every project in order.
    std::vector<TaskChoice> taskChoices() const;
    void chooseTask(const QString& id);
    /// Asks the server for the projects; a failure leaves everything as it was.
    void scheduleTaskMenuConfigRefreshFromServer();
    std::optional<QString> statusMessage() const;

    // The active view.
    /// Reads the daily target; when the view comes on screen.
    void activeViewAppeared();
    QString projectName() const;
    QString dayClock() const;
    QString activePhrase() const;
    QString recentActivity() const;
    bool isPaused() const;
    void pauseOrResume();
    void stop();

    /// 0 to 1.
    double progress() const;
    QString progressPercent() const;
    /// Today and the target, "05:30 / 08:00".
    QString progressTimes() const;
    QString targetSentence() const;
    int targetHours() const { return dailyTargetSeconds_ / 3600; }
    int targetMinutes() const { return dailyTargetSeconds_ / 60 % 60; }
    void setDailyTarget(int hours, int minutes);

Q_SIGNALS:
    void changed();

private:
    NoticeSources noticeSources() const;
    Task<> refreshFromServer();

    const Dependencies deps_;
    QString idlePhrase_;
    int motivationalPhraseIndex_ = 0;
    int dailyTargetSeconds_;
    std::unique_ptr<Executor::Timer> phraseTimer_;
};
