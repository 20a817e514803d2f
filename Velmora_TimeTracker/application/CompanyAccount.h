#pragma once

#include "platform/Task.h"

#include <QObject>

class ApplicationInfo;
class AppStateManager;
class AuthService;
class DomainStorage;
class Executor;
class PreferenceStore;
class RemoteConfigService;
class SessionManager;
class SQLiteStore;
struct RemoteConfig;

/// The company account of the user: what its sign-in, each of its configurations and the end of the sign-in change in
/// the application state, the engine and the stored data. Main thread.
class CompanyAccount : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        AuthService& auth;
        RemoteConfigService& remoteConfig;
        AppStateManager& appState;
        SessionManager& sessionManager;
        DomainStorage& domain;
        SQLiteStore& store;
        PreferenceStore& preferences;
        const ApplicationInfo& information;
        Executor& main;
    };
    explicit CompanyAccount(const Dependencies& dependencies);

    /// At launch, before anything computes a date or shows a window: the cached configuration gives the company's time zone
    /// and rules.
    void restore();
    /// Starts the periodic refresh once the launch read of the stored sign-in has succeeded.
    Task<> refreshOnceRestored();
    /// Completes a sign-in with the configuration of its company.
    void signedIn(const RemoteConfig& config);
    /// Applies a fetched configuration: application state first, then the engine.
    void apply(const RemoteConfig& config);
    /// After a sign-in to a company: assigns its stored data that has no user to this user, and offers the
    /// interrupted session.
    void companyChanged();
    /// The sign-in was rejected: ends the sessions, then drops the configuration, whose rules apply to them.
    void handleSessionInvalidated();

Q_SIGNALS:
    /// "com.velmora.timetracker.authSessionDidInvalidate"; emitted when everything has been ended.
    void authSessionDidInvalidate();

private:
    bool adoptUnownedData();
    void startPeriodicRefresh();

    const Dependencies deps_;
};
