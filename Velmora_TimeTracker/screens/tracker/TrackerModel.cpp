#include "screens/tracker/TrackerModel.h"

#include "application/AppStateManager.h"
#include "application/CompanyAccount.h"
#include "capture/PermissionService.h"
#include "platform/Random.h"
#include "screens/text/Formatting.h"
#include "screens/tracker/MotivationalPhrases.h"
#include "server/RemoteConfigService.h"
#include "storage/PreferenceStores.h"
#include "tracking/SessionManager.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace {
constexpr Seconds phrasePeriod = 600;
constexpr Seconds phraseLeeway = 30;
const QString noTask = u"No task"_s;

int randomIndex(Random& random, std::size_t count) {
    return qMin(static_cast<int>(random.uniform(0, static_cast<double>(count))), static_cast<int>(count) - 1);
}
} // namespace

TrackerModel::TrackerModel(const Dependencies& dependencies)
    : deps_(dependencies)
    , dailyTargetSeconds_(DailyTargetStorage::seconds(deps_.preferences))
    , phraseTimer_(deps_.main.every(phrasePeriod, phrasePeriod, phraseLeeway, [this] {
        motivationalPhraseIndex_ = randomIndex(deps_.random, MotivationalPhrases::all.size());
        Q_EMIT changed();
    })) {
    idleViewAppeared();
    connect(&deps_.appState, &AppStateManager::changed, this, &TrackerModel::changed);
    connect(&deps_.sessionManager, &SessionManager::changed, this, &TrackerModel::changed);
}

bool TrackerModel::isTracking() const {
    return deps_.sessionManager.isTracking();
}

bool TrackerModel::permissionWasLost() const {
    return deps_.sessionManager.screenRecordingPermissionLost();
}

void TrackerModel::openPermissionSettings() {
    deps_.permissions.openScreenRecordingSettings();
}

void TrackerModel::dismissPermissionLost() {
    deps_.sessionManager.dismissPermissionLost();
}

std::optional<QString> TrackerModel::crossDayTask() const {
    const auto& project = deps_.sessionManager.crossDayAutoCompletedProject();
    return project ? std::optional(project->name) : std::nullopt;
}

void TrackerModel::startNewSession() {
    const auto project = deps_.sessionManager.crossDayAutoCompletedProject();
    if (!project)
        return;
    deps_.sessionManager.dismissCrossDayBanner();
    deps_.sessionManager.startTracking(RemoteProject{project->id, project->name});
}

void TrackerModel::dismissCrossDayBanner() {
    deps_.sessionManager.dismissCrossDayBanner();
}

std::vector<Notice> TrackerModel::notices() const {
    return trackerNotices(noticeSources());
}

NoticeSources TrackerModel::noticeSources() const {
    NoticeSources sources;
    sources.notSaved = deps_.sessionManager.notSavedMessage();
    const UploadNotices& uploads = deps_.appState.uploadNotices();
    sources.unacceptedSessions = uploads.unacceptedSessions;
    sources.unacceptedReason = uploads.unacceptedReason;
    sources.prunedPictures = uploads.prunedPictures;
    if (!deps_.appState.remoteConfig())
        sources.configurationProblem =
            u"Your company's settings are not loaded yet. Tracking can start once they are."_s;
    return sources;
}

void TrackerModel::performNoticeAction() {
    spawn(refreshFromServer(), "configuration request");
}

void TrackerModel::idleViewAppeared() {
    const int entry = randomIndex(deps_.random, MotivationalPhrases::idle.size());
    idlePhrase_ = QString::fromLatin1(MotivationalPhrases::idle.at(static_cast<std::size_t>(entry)));
}

bool TrackerModel::canStart() const {
    return deps_.appState.remoteConfig().has_value() && !deps_.appState.forceClientUpdate();
}

void TrackerModel::start() {
    if (!canStart())
        return;
    std::optional<RemoteProject> chosen;
    for (const RemoteProject& project : deps_.appState.projects())
        if (!chosen && project.id == deps_.sessionManager.selectedProjectId())
            chosen = project;
    deps_.sessionManager.startTracking(chosen);
}

QString TrackerModel::selectedTaskMenuTitle() const {
    for (const RemoteProject& project : deps_.appState.projects())
        if (project.id == deps_.sessionManager.selectedProjectId())
            return project.name;
    return noTask;
}

std::vector<TrackerModel::TaskChoice> TrackerModel::taskChoices() const {
    const QString& selected = deps_.sessionManager.selectedProjectId();
    std::vector<TaskChoice> choices = {{QString(), noTask, false}};
    for (const RemoteProject& project : deps_.appState.projects())
        choices.push_back({project.id, project.name, project.id == selected});
    const bool hasCurrent = std::ranges::any_of(choices, &TaskChoice::isCurrent);
    choices.front().isCurrent = !hasCurrent;
    return choices;
}

void TrackerModel::chooseTask(const QString& id) {
    deps_.sessionManager.selectProject(id);
}

void TrackerModel::scheduleTaskMenuConfigRefreshFromServer() {
    spawn(refreshFromServer(), "task refresh");
}

Task<> TrackerModel::refreshFromServer() {
    const QPointer<TrackerModel> self(this);
    std::optional<RemoteConfig> config;
    try {
        config = co_await deps_.remoteConfig.fetchConfig();
    } catch (const std::exception&) {
        co_return;
    }
    if (self && deps_.appState.isAuthenticated())
        deps_.company.apply(*config);
}

std::optional<QString> TrackerModel::statusMessage() const {
    return deps_.sessionManager.lastStatusMessage();
}

void TrackerModel::activeViewAppeared() {
    dailyTargetSeconds_ = DailyTargetStorage::seconds(deps_.preferences);
}

QString TrackerModel::projectName() const {
    const auto& session = deps_.sessionManager.currentSession();
    return session ? session->projectName : QString();
}

QString TrackerModel::dayClock() const {
    return Formatting::duration(deps_.sessionManager.todayTotalSeconds());
}

QString TrackerModel::activePhrase() const {
    return MotivationalPhrases::active(motivationalPhraseIndex_, deps_.sessionManager.todayTotalSeconds());
}

QString TrackerModel::recentActivity() const {
    const auto rate = deps_.sessionManager.last5MinActivityRate();
    return rate ? QString::asprintf("%.0f%%", *rate) : u"—"_s;
}

bool TrackerModel::isPaused() const {
    return deps_.sessionManager.isPaused();
}

void TrackerModel::pauseOrResume() {
    if (isPaused())
        deps_.sessionManager.resumeTracking();
    else
        deps_.sessionManager.pauseTracking();
}

void TrackerModel::stop() {
    deps_.sessionManager.stopTracking();
}

double TrackerModel::progress() const {
    return qMin(deps_.sessionManager.todayTotalSeconds() / dailyTargetSeconds_, 1.0);
}

QString TrackerModel::progressPercent() const {
    return u"%1%"_s.arg(static_cast<int>(progress() * 100));
}

QString TrackerModel::progressTimes() const {
    return Formatting::hoursMinutes(deps_.sessionManager.todayTotalSeconds()) + u" / "_s +
           Formatting::hoursMinutes(dailyTargetSeconds_);
}

QString TrackerModel::targetSentence() const {
    if (targetMinutes() == 0)
        return u"Target: %1 work hours"_s.arg(targetHours());
    return u"Target: %1h %2m of work"_s.arg(targetHours()).arg(targetMinutes());
}

void TrackerModel::setDailyTarget(int hours, int minutes) {
    DailyTargetStorage::set(hours, minutes, deps_.preferences);
    activeViewAppeared();
    Q_EMIT changed();
}
