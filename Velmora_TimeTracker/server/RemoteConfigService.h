#pragma once

#include "model/RemoteConfig.h"
#include "server/AuthService.h"
#include "server/SingleFlight.h"

#include <functional>
#include <memory>
#include <optional>

class Clock;
class PreferenceStore;
class Random;

/// Fetches the configuration, coalesces concurrent fetches, keeps the last good copy in a file and refreshes
/// it on a jittered timer. A serial worker on the worker executor; operations may be called from any
/// executor.
class RemoteConfigService {
public:
    /// The cache is "config.json" in `folder`, the program's own folder, which is created if missing.
    RemoteConfigService(APIClient& api, const AuthService& auth, PreferenceStore& preferences, const Clock& clock,
                        Random& random, Executor& worker, const QString& folder);

    QString fileURL() const { return fileURL_; }

    /// Throws APIError. Shares a pending fetch for the same sign-in. If the sign-in changes meanwhile, the result is
    /// dropped and the error is `network` with the code `cancelled`.
    Task<RemoteConfig> fetchConfig();

    /// The cache file, without today's total; absent if there is none, it belongs to another company or user, or it
    /// does not decode. A file that does not decode is renamed to a dated name and logged. Any thread.
    std::optional<RemoteConfig> cachedConfig() const;

    using OnUpdate = std::function<void(RemoteConfig)>;
    /// `atOnce` is for a program that has no configuration.
    enum class FirstFetch { atOnce, afterInterval };

    /// One loop at most: waits 1200 to 2400 seconds, fetches, calls `onUpdate` on the worker with each good
    /// record. Failures are silent. A first fetch at once is repeated after about 2, 4, 8 … 60 seconds until it
    /// succeeds. May be called from any executor.
    void startPeriodicRefresh(FirstFetch first, OnUpdate onUpdate);
    /// `onUpdate` is not called after the worker has run this.
    void stopPeriodicRefresh();

private:
    struct Flight {
        SignIn signIn;
        SingleFlight<RemoteConfig> fetch;
    };

    Task<RemoteConfig> fetchOnWorker();
    Task<RemoteConfig> performFetchBody(SignIn signIn);
    /// Throws if `signIn` is no longer the current one.
    void requirePresent(const SignIn& signIn) const;
    void writeCache(RemoteConfig config, const QString& owner) const;
    void setAsideCache() const;
    void scheduleRefresh();
    Seconds nextDelay() const;
    Task<> refresh();

    APIClient& api_;
    const AuthService& auth_;
    PreferenceStore& preferences_;
    const Clock& clock_;
    Random& random_;
    Executor& worker_;
    const QString fileURL_;
    std::shared_ptr<Flight> flight_; ///< The last fetch; null before the first.
    std::unique_ptr<Executor::Timer> refreshTask_;
    struct Loop {
        OnUpdate onUpdate;
        bool lacksConfig;
        int failures = 0;
    };
    std::shared_ptr<Loop> loop_; ///< The running one; null without.
};
