// The senders of UploadService: one for each kind of task, and the direct heartbeat.

#include "upload/UploadService.h"

#include "model/CaptureFileName.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/Random.h"
#include "server/APIError.h"
#include "server/UploadTransport.h"
#include "storage/APITimeZoneResolver.h"
#include "storage/DomainStorage.h"
#include "storage/PreferenceStores.h"
#include "upload/HeartbeatPayload.h"
#include "upload/ScreenshotFiles.h"
#include "upload/SegmentBatch.h"
#include "upload/TrackingEndpointResponse.h"

#include <QFile>
#include <QFileInfo>
#include <set>
#include <stdexcept>

namespace {

using SegmentRows = std::vector<SQLiteStore::ActivitySegmentRow>;

QByteArray readWhole(const QString& path) {
    QFile file(path);
    if (!QFileInfo::exists(path))
        throw UploadServiceError::fileNotFound();
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error(file.errorString().toStdString());
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        throw std::runtime_error(file.errorString().toStdString());
    return bytes;
}

/// The sent rows that the reply accepts, each once.
SegmentRows acceptedRows(const SegmentRows& sent, const QByteArray& reply) {
    const auto positions = SegmentBatch::acceptedPositions(reply).value_or(std::vector<qint64>());
    SegmentRows accepted;
    for (const qint64 position : std::set(positions.begin(), positions.end()))
        if (position >= 0 && position < static_cast<qint64>(sent.size()))
            accepted.push_back(sent[static_cast<std::size_t>(position)]);
        else
            qCCritical(Log::upload, "segments/batch: accepted position %lld was not sent; skipped", position);
    return accepted;
}

} // namespace

Task<> UploadService::send(UploadTask task) {
    switch (task.type) {
    case UploadTaskType::metadata:
        break;
    case UploadTaskType::heartbeat:
        co_await sendPayload(task, Endpoints::heartbeat, "heartbeat-queued");
        break;
    case UploadTaskType::screenshot:
        co_await uploadScreenshot(task);
        break;
    case UploadTaskType::activitySegment:
        co_await uploadActivitySegments(task);
        break;
    case UploadTaskType::startSession:
        co_await uploadStartSession(task);
        break;
    }
}

Task<QByteArray> UploadService::postJSON(Endpoint endpoint, QByteArray body, const char* source) {
    URLRequest request = deps_.transport.makeRequest(endpoint, "application/json");
    request.body = body;
    const QString domainKey = deps_.domain.domainKey();
    const QByteArray reply = co_await deps_.transport.executeRequest(request);
    if (!TrackingEndpointResponse::isOfToldShape(reply))
        throw URLError(URLError::Code::other, "The answer is not the server's.");
    postServerTodayTotalIfPresent(reply, domainKey, source);
    co_return reply;
}

Task<> UploadService::sendPayload(UploadTask task, Endpoint endpoint, const char* source) {
    if (!task.jsonPayload)
        throw APIError::decodingFailed();
    co_await postJSON(endpoint, *task.jsonPayload, source);
}

Task<> UploadService::uploadStartSession(UploadTask task) {
    return sendPayload(std::move(task), Endpoints::startSession, "start-session");
}

Task<> UploadService::uploadActivitySegments(UploadTask task) {
    const auto told = SegmentBatch::openSegment(task.jsonPayload);
    const SegmentUtils::DateAndNumber open = told ? *told : segmentOfNow();
    const QString domainKey = deps_.domain.domainKey();
    const auto rows = deps_.store.pendingActivitySegmentsForUpload(open.date, open.number);
    if (rows.empty())
        co_return;
    qCInfo(Log::upload, "POST segments/batch: %zu closed segment(s)", rows.size());
    const QByteArray body = SegmentBatch::build(rows, DeviceIdProvider::current(deps_.preferences, deps_.random),
                                                deps_.timeZones.storedTimezoneIdentifier());
    const QByteArray reply = co_await postJSON(Endpoints::segmentBatch, body, "segments-batch");
    const SegmentRows accepted = acceptedRows(rows, reply);
    deps_.store.transaction([&] { return deps_.store.markActivitySegmentsUploaded(accepted, domainKey); });
}

Task<> UploadService::uploadScreenshot(UploadTask task) {
    if (!task.filePath)
        throw APIError::invalidURL();
    const QString filePath = *task.filePath;
    const QByteArray bytes = readWhole(filePath);
    const QByteArray fileName = QFileInfo(filePath).fileName().toUtf8();

    const QByteArray boundary = "Boundary-" + uuidText(deps_.random.uuid()).toLatin1();
    const Endpoint endpoint = Endpoints::screenshots(uuidText(task.sessionId));
    URLRequest request = deps_.transport.makeRequest(endpoint, "multipart/form-data; boundary=" + boundary);
    const QString uploadName = CaptureFileName::normalizedScreenshotUploadFileName(
        QFileInfo(filePath).fileName(), task.sessionId, deps_.timeZones.storedTimeZone());
    request.body = ScreenshotFiles::buildMultipartBody("screenshots[]", uploadName, "image/jpeg", bytes, boundary);
    qCInfo(Log::upload, "Uploading screenshot: %s", fileName.constData());
    try {
        co_await deps_.transport.executeRequest(request);
    } catch (...) {
        qCCritical(Log::upload, "Screenshot upload failed for file: %s", fileName.constData());
        throw;
    }
    QFile file(filePath);
    if (!file.remove())
        qCCritical(Log::upload, "Failed to delete screenshot after upload: %s — %s", fileName.constData(),
                   qUtf8Printable(file.errorString()));
}

Task<bool> UploadService::uploadHeartbeatNow(Session session, QString domainKey) {
    return runOn(deps_.worker, [this, session, domainKey] { return uploadHeartbeatNowOnWorker(session, domainKey); });
}

Task<bool> UploadService::uploadHeartbeatNowOnWorker(Session session, QString domainKey) {
    if (deps_.domain.domainKey() != domainKey || startOf(session.id, domainKey) == SessionStart::waiting) {
        qCInfo(Log::upload, "uploadHeartbeatNow: the session's company was left, or its start is still queued");
        co_return false;
    }
    const auto body =
        buildHeartbeatPayload(session, HeartbeatStatus::active, deps_.clock.now(), deps_.timeZones.storedTimeZone());
    if (!body) {
        qCInfo(Log::upload, "uploadHeartbeatNow: buildHeartbeatPayload failed");
        co_return false;
    }
    std::exception_ptr failure;
    try {
        co_await postJSON(Endpoints::heartbeat, *body, "heartbeat-direct");
        refusedStarts_.remove(session.id); // the server has accepted the start; its reply was lost
        co_return true;
    } catch (...) {
        failure = std::current_exception();
    }
    const auto action = failureAction(failure, {UploadTaskType::heartbeat, startOf(session.id, domainKey)});
    if (const auto* takenOver = std::get_if<UploadFailureAction::TakenOver>(&action))
        handleHeartbeatTakenOver(session.id, domainKey, takenOver->statusCode);
    else
        qCInfo(Log::upload, "uploadHeartbeatNow failed: %s", qUtf8Printable(failureDescription(failure)));
    co_return false;
}

void UploadService::handleHeartbeatTakenOver(const QUuid& sessionId, const QString& domainKey, int statusCode) {
    qCCritical(Log::upload, "Session %s taken over by another device (status %d); dropping its reports.",
               qUtf8Printable(uuidText(sessionId)), statusCode);
    if (notifications_.sessionTakenOverByOtherDevice)
        notifications_.sessionTakenOverByOtherDevice(sessionId, statusCode);
    const auto rows = deps_.store.pendingUploadTaskIds(
        sessionId, {UploadTaskType::heartbeat, UploadTaskType::startSession}, domainKey);
    for (const QUuid& row : rows.value_or(std::vector<QUuid>()))
        deps_.store.markUploadTaskCompleted(row);
}

void UploadService::postServerTodayTotalIfPresent(const QByteArray& responseData, const QString& domainKey,
                                                  const char* source) {
    const auto total = TrackingEndpointResponse::serverTodayTotal(responseData);
    if (!total)
        return;
    qCInfo(Log::upload, "server today_total via %s: %llds @ %s", source, total->totalSeconds,
           qUtf8Printable(total->date));
    if (notifications_.serverTodayTotalDidUpdate)
        notifications_.serverTodayTotalDidUpdate(*total, domainKey);
}
