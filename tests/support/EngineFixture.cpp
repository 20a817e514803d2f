#include "tests/support/EngineFixture.h"

#include "model/Json.h"

#include <QJsonArray>

EngineFixture::EngineFixture(const char* start, const QByteArray& machineZone)
    : directory(fastTemporaryFolder())
    , machine(directory.path(), 1, at(start), machineZone) {
    config.deviceId = "backend-device";
    config.projects = {{"p1", "First"}, {"p2", "Second"}};
    config.screenshotIntervalMinutes = 10;
    config.idleMinutesThreshold = 5;
    config.discardIdleTime = true;
    machine.urlSession.setServer([this](const URLRequest& request) { return answer(request); });
    signIn();
    launch();
}

void EngineFixture::start(const QString& projectId, const QString& projectName) {
    machine.input.happen(InputEventType::mouseMoved); // on the way to the button
    const RemoteProject project{projectId, projectName};
    engine().startTracking(projectId.isEmpty() ? std::nullopt : std::optional(project));
    machine.timeline.settle();
}

void EngineFixture::typeFor(int seconds) {
    for (int i = 0; i < seconds; ++i) {
        tick(0.5);
        machine.input.happen(InputEventType::keyDown);
        tick(0.5);
    }
}

SimulatedURLSession::Reply EngineFixture::answer(const URLRequest& request) const {
    if (request.url.path().endsWith("employees/config"))
        return SimulatedURLSession::answer(status, "{\"data\":" + encodeRemoteConfig(config) + "}", 0);
    QJsonArray accepted; // every segment of a batch
    while (accepted.size() < QJsonDocument::fromJson(request.body)["segments"].toArray().size())
        accepted.append(accepted.size());
    QJsonObject data{{"ok", true}, {"accepted", accepted}, {"access_token", "access"}, {"expires_at", "2099"}};
    if (todayTotal) {
        data.insert("today_total_seconds", todayTotal->totalSeconds);
        data.insert("today_date", todayTotal->date);
    }
    const bool isRefresh = request.url.path().endsWith("authentication/refresh");
    return SimulatedURLSession::answer(isRefresh ? refreshStatus : status,
                                       Json::compact({{"success", true}, {"data", data}}));
}

std::vector<Session> EngineFixture::storedSessions(const char* table) const {
    std::vector<Session> sessions;
    for (const QString& payload : sql(QByteArray("SELECT payload FROM ") + table + " ORDER BY rowid"))
        sessions.push_back(decodeSession(payload.toUtf8()).value());
    return sessions;
}

std::vector<QJsonObject> EngineFixture::bodies(const QString& endpoint) const {
    std::vector<QJsonObject> found;
    for (const URLRequest& request : machine.urlSession.requests)
        if (request.url.path().endsWith(endpoint))
            found.push_back(QJsonDocument::fromJson(request.body).object());
    return found;
}
