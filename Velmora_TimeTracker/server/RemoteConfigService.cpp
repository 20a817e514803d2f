#include "server/RemoteConfigService.h"

#include "model/Json.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/PreferenceStore.h"
#include "platform/PrivateFiles.h"
#include "platform/Random.h"
#include "storage/PreferenceStores.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {
// Seconds between two refreshes, random so that the clients of a company do not ask at the same time.
constexpr double minRefreshInterval = 1200;
constexpr double maxRefreshInterval = 2400;
constexpr Seconds longestRetryDelay = 60; ///< Used while there is no configuration.
constexpr double retryJitter = 0.25;
/// Key of the cached file, beside those of the record: the domain key of its company and user.
const QString ownerKey = u"owner"_s;
} // namespace

RemoteConfigService::RemoteConfigService(APIClient& api, const AuthService& auth, PreferenceStore& preferences,
                                         const Clock& clock, Random& random, Executor& worker, const QString& folder)
    : api_(api)
    , auth_(auth)
    , preferences_(preferences)
    , clock_(clock)
    , random_(random)
    , worker_(worker)
    , fileURL_(folder + u"/config.json"_s) {
    PrivateFiles::create(folder);
}

Task<RemoteConfig> RemoteConfigService::fetchConfig() {
    const SignIn signIn = auth_.signIn();
    RemoteConfig config = co_await runOn(worker_, [this] { return fetchOnWorker(); });
    requirePresent(signIn);
    co_return config;
}

Task<RemoteConfig> RemoteConfigService::fetchOnWorker() {
    const SignIn signIn = auth_.signIn();
    if (!flight_ || flight_->signIn != signIn)
        flight_ = std::make_shared<Flight>(signIn, SingleFlight<RemoteConfig>(worker_));
    const auto flight = flight_; // keeps it alive if a fetch for another sign-in replaces it
    const auto fetch = [this, signIn] { return performFetchBody(signIn); };
    co_return co_await flight->fetch.run(fetch);
}

void RemoteConfigService::requirePresent(const SignIn& signIn) const {
    if (auth_.signIn() == signIn)
        return;
    qCInfo(Log::session, "The configuration of an earlier sign-in is dropped");
    throw APIError::network(URLError(URLError::Code::cancelled, u"The sign-in changed meanwhile."_s));
}

Task<RemoteConfig> RemoteConfigService::performFetchBody(SignIn signIn) {
    APIRequest request{.endpoint = Endpoints::config};
    const RemoteConfig config = co_await api_.request(std::move(request), decodeConfigResponse);
    requirePresent(signIn);
    // Names that the configuration omits are kept.
    UserProfileStorage::set(config.name ? config.name : preferences_.string(PreferenceKey::userName),
                            config.companyName ? config.companyName : preferences_.string(PreferenceKey::companyName),
                            preferences_);
    writeCache(config, signIn.domainKey);
    co_return config;
}

/// A failure keeps the former copy; the fetch still succeeds.
void RemoteConfigService::writeCache(RemoteConfig config, const QString& owner) const {
    config.todayTotalSeconds.reset(); // would be outdated when read
    config.todayDate.reset();
    QJsonObject record = Json::object(encodeRemoteConfig(config)).value();
    record.insert(ownerKey, owner);
    PrivateFiles::replaceFile(fileURL_, Json::compact(record));
}

std::optional<RemoteConfig> RemoteConfigService::cachedConfig() const {
    const auto stored = PrivateFiles::readFile(fileURL_);
    if (!stored.failure.isEmpty())
        qCCritical(Log::session, "The configuration cache cannot be read: %s", qUtf8Printable(stored.failure));
    if (!stored.text)
        return std::nullopt;
    auto config = decodeRemoteConfig(*stored.text);
    if (!config) {
        setAsideCache();
        return std::nullopt;
    }
    const auto owner = Json::string(Json::object(*stored.text).value(), ownerKey);
    return owner == auth_.signIn().domainKey ? config : std::nullopt;
}

void RemoteConfigService::setAsideCache() const {
    const QString stamp = clock_.now().toDateTime(QTimeZone::utc()).toString(u"yyyyMMdd-HHmmss"_s);
    const QString moved = PrivateFiles::setAside(fileURL_, stamp);
    qCCritical(Log::session, "The configuration cache could not be read; set aside as %s", qUtf8Printable(moved));
}

void RemoteConfigService::startPeriodicRefresh(FirstFetch first, OnUpdate onUpdate) {
    const bool isFirstAtOnce = first == FirstFetch::atOnce;
    worker_.post([this, loop = std::make_shared<Loop>(std::move(onUpdate), isFirstAtOnce)] {
        loop_ = loop;
        refreshTask_ = nullptr;
        if (loop->lacksConfig)
            spawn(refresh(), "first configuration");
        else
            scheduleRefresh();
    });
}

void RemoteConfigService::stopPeriodicRefresh() {
    worker_.post([this] {
        loop_ = nullptr;
        refreshTask_ = nullptr;
    });
}

void RemoteConfigService::scheduleRefresh() {
    refreshTask_ = worker_.after(nextDelay(), [this] { spawn(refresh(), "configuration refresh"); });
}

Seconds RemoteConfigService::nextDelay() const {
    if (!loop_->lacksConfig)
        return random_.uniform(minRefreshInterval, maxRefreshInterval);
    const Seconds delay = std::min(std::ldexp(1.0, loop_->failures), longestRetryDelay);
    return delay * random_.uniform(1 - retryJitter, 1 + retryJitter);
}

Task<> RemoteConfigService::refresh() {
    const auto loop = loop_;
    std::optional<RemoteConfig> config;
    try {
        config = co_await fetchOnWorker();
    } catch (const APIError&) {
        // The next iteration retries.
    }
    if (loop != loop_) // replaced or stopped meanwhile
        co_return;
    if (config) {
        loop->lacksConfig = false;
        loop->onUpdate(*config);
    } else {
        ++loop->failures;
    }
    scheduleRefresh();
}
