#include "screens/tracker/TrackerModel.h"

#include "application/TimeTrackerCore.h"
#include "screens/text/Formatting.h"
#include "screens/tracker/MotivationalPhrases.h"
#include "storage/PreferenceStores.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace {
constexpr Seconds phrasePeriod = 600;
constexpr Seconds phraseLeeway = 30;
const QString noTask = u"No task"_s;

/// A uniform index below `count`.
int drawn(Random& random, std::size_t count) {
    return qMin(static_cast<int>(random.uniform(0, static_cast<double>(count))), static_cast<int>(count) - 1);
}
} // namespace

TrackerModel::TrackerModel(TimeTrackerCore& core)
    : core_(core)
    , dailyTargetSeconds_(DailyTargetStorage::seconds(core.platform.preferences))
    , phraseTimer_(core.platform.main.every(phrasePeriod, phrasePeriod, phraseLeeway, [this] {
        motivationalPhraseIndex_ = drawn(core_.platform.random, MotivationalPhrases::all.size());
        Q_EMIT changed();
    })) {
    idleViewAppeared();
    connect(&core.appState, &AppStateManager::changed, this, &TrackerModel::changed);
    connect(&core.sessionManager, &SessionManager::changed, this, &TrackerModel::changed);
}

bool TrackerModel::isTracking() const {
    return core_.sessionManager.isTracking();
}

bool TrackerModel::permissionWasLost() const {
    return core_.sessionManager.screenRecordingPermissionLost();
}

void TrackerModel::openPermissionSettings() {
    core_.permissions.openScreenRecordingSettings();
}

void TrackerModel::dismissPermissionLost() {
    core_.sessionManager.dismissPermissionLost();
}

std::optional<QString> TrackerModel::crossDayTask() const {
    const auto& project = core_.sessionManager.crossDayAutoCompletedProject();
    return project ? std::optional(project->name) : std::nullopt;
}

void TrackerModel::startNewSession() {
    const auto project = core_.sessionManager.crossDayAutoCompletedProject();
    if (!project)
        return;
    core_.sessionManager.dismissCrossDayBanner();
    core_.sessionManager.startTracking(RemoteProject{project->id, project->name});
}

void TrackerModel::dismissCrossDayBanner() {
    core_.sessionManager.dismissCrossDayBanner();
}

std::vector<Notice> TrackerModel::notices() const {
    return trackerNotices(noticeSources());
}

NoticeSources TrackerModel::noticeSources() const {
    NoticeSources sources;
    sources.notSaved = core_.sessionManager.notSavedMessage();
    const UploadNotices& uploads = core_.appState.uploadNotices();
    sources.unacceptedSessions = uploads.unacceptedSessions;
    sources.unacceptedReason = uploads.unacceptedReason;
    sources.prunedPictures = uploads.prunedPictures;
    if (!core_.appState.remoteConfig())
        sources.configurationProblem =
            u"Your company's settings are not loaded yet. Tracking can start once they are."_s;
    return sources;
}

void TrackerModel::performNoticeAction() {
    spawn(refreshFromServer(), "configuration request");
}

void TrackerModel::idleViewAppeared() {
    const int entry = drawn(core_.platform.random, MotivationalPhrases::idle.size());
    idlePhrase_ = QString::fromLatin1(MotivationalPhrases::idle.at(static_cast<std::size_t>(entry)));
}

bool TrackerModel::canStart() const {
    return core_.appState.remoteConfig().has_value() && !core_.appState.forceClientUpdate();
}

void TrackerModel::start() {
    if (!canStart())
        return;
    std::optional<RemoteProject> chosen;
    for (const RemoteProject& project : core_.appState.projects())
        if (!chosen && project.id == core_.sessionManager.selectedProjectId())
            chosen = project;
    core_.sessionManager.startTracking(chosen);
}

QString TrackerModel::selectedTaskMenuTitle() const {
    for (const RemoteProject& project : core_.appState.projects())
        if (project.id == core_.sessionManager.selectedProjectId())
            return project.name;
    return noTask;
}

std::vector<TrackerModel::TaskChoice> TrackerModel::taskChoices() const {
    const QString& selected = core_.sessionManager.selectedProjectId();
    std::vector<TaskChoice> choices = {{QString(), noTask, false}};
    for (const RemoteProject& project : core_.appState.projects())
        choices.push_back({project.id, project.name, project.id == selected});
    const bool hasCurrent = std::ranges::any_of(choices, &TaskChoice::isCurrent);
    choices.front().isCurrent = !hasCurrent;
    return choices;
}

void TrackerModel::chooseTask(const QString& id) {
    core_.sessionManager.selectProject(id);
}

void TrackerModel::scheduleTaskMenuConfigRefreshFromServer() {
    spawn(refreshFromServer(), "task refresh");
}

Task<> TrackerModel::refreshFromServer() {
    const QPointer<TrackerModel> self(this);
    std::optional<RemoteConfig> config;
    try {
        config = co_await core_.remoteConfig.fetchConfig();
    } catch (const std::exception&) {
        co_return;
    }
    if (self && core_.appState.isAuthenticated())
        core_.apply(*config);
}

std::optional<QString> TrackerModel::statusMessage() const {
    return core_.sessionManager.lastStatusMessage();
}

void TrackerModel::activeViewAppeared() {
    dailyTargetSeconds_ = DailyTargetStorage::seconds(core_.platform.preferences);
}

QString TrackerModel::projectName() const {
    const auto& session = core_.sessionManager.currentSession();
    return session ? session->projectName : QString();
}

QString TrackerModel::dayClock() const {
    return Formatting::duration(core_.sessionManager.todayTotalSeconds());
}

QString TrackerModel::activePhrase() const {
    return MotivationalPhrases::active(motivationalPhraseIndex_, core_.sessionManager.todayTotalSeconds());
}

QString TrackerModel::recentActivity() const {
    const auto rate = core_.sessionManager.last5MinActivityRate();
    return rate ? QString::asprintf("%.0f%%", *rate) : u"—"_s;
}

bool TrackerModel::isPaused() const {
    return core_.sessionManager.isPaused();
}

void TrackerModel::pauseOrResume() {
    if (isPaused())
        core_.sessionManager.resumeTracking();
    else
        core_.sessionManager.pauseTracking();
}

void TrackerModel::stop() {
    core_.sessionManager.stopTracking();
}

double TrackerModel::progress() const {
    return qMin(core_.sessionManager.todayTotalSeconds() / dailyTargetSeconds_, 1.0);
}

QString TrackerModel::progressPercent() const {
    return u"%1%"_s.arg(static_cast<int>(progress() * 100));
}

QString TrackerModel::progressTimes() const {
    return Formatting::hoursMinutes(core_.sessionManager.todayTotalSeconds()) + u" / "_s +
           Formatting::hoursMinutes(dailyTargetSeconds_);
}

QString TrackerModel::targetSentence() const {
    if (targetMinutes() == 0)
        return u"Target: %1 work hours"_s.arg(targetHours());
    return u"Target: %1h %2m of work"_s.arg(targetHours()).arg(targetMinutes());
}

void TrackerModel::setDailyTarget(int hours, int minutes) {
    DailyTargetStorage::set(hours, minutes, core_.platform.preferences);
    activeViewAppeared();
    Q_EMIT changed();
}
