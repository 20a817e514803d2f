#include "BackendTest.h"

#include <QDateTime>

namespace {

QJsonObject merged(QJsonObject object, const QJsonObject& changes) {
    for (auto change = changes.begin(); change != changes.end(); ++change)
        object.insert(change.key(), change.value());
    return object;
}

std::string bytesOf(const QJsonObject& object) {
    return QJsonDocument(object).toJson().toStdString();
}

} // namespace

BackendTest::BackendTest() {
    setClock("2025-03-14T12:00:00+01:00");
    restart();
}

void BackendTest::restart() {
    server.reset();
    server = std::make_unique<backend::Backend>(backend::Backend::Options{
        .dataFolder = folder.filePath(u"data"_qs), .now = [this] { return clock.load(); }});
}

void BackendTest::setClock(const char* time) {
    clock =
        static_cast<double>(QDateTime::fromString(QString::fromLatin1(time), Qt::ISODate).toSecsSinceEpoch());
}

Answer BackendTest::send(const Outgoing& request) {
    httplib::Client client("127.0.0.1", server->port());
    client.set_read_timeout(0, readTimeoutMilliseconds * 1000);
    const auto result = request.isGet
                            ? client.Get(request.path, request.headers)
                            : client.Post(request.path, request.headers, request.body, request.contentType);
    if (!result)
        return {};
    const QByteArray raw = QByteArray::fromStdString(result->body);
    return {result->status, QJsonDocument::fromJson(raw).object(), result->body};
}

Answer BackendTest::get(const std::string& path) {
    return send({.path = path, .headers = {}, .contentType = {}, .body = {}, .isGet = true});
}

Answer BackendTest::control(const std::string& name, const QJsonObject& body) {
    return send({.path = "/control/" + name,
                 .headers = {},
                 .contentType = "application/json",
                 .body = bytesOf(body)});
}

void BackendTest::signIn(const char* email) {
    const QJsonObject data = send(login(email, "demo1234")).data();
    const QJsonObject tokens = data.contains(u"data") ? data.value(u"data").toObject() : data;
    accessToken = tokens.value(u"access_token").toString();
    refreshToken = tokens.value(u"refresh_token").toString();
    ASSERT_FALSE(accessToken.isEmpty());
}

Outgoing BackendTest::login(const char* email, const char* password) const {
    return jsonPost("authentication/singleLogin", {{u"email"_qs, QString::fromUtf8(email)},
                                                   {u"password"_qs, QString::fromUtf8(password)},
                                                   {u"remember_me"_qs, 1},
                                                   {u"use_jwt"_qs, 1}});
}

Outgoing BackendTest::jsonPost(const std::string& path, const QJsonObject& body,
                               const char* appClient) const {
    return {.path = api + path,
            .headers = {{"Accept", "application/json"}, {"app-client", appClient}, {"X-App", "hr"}},
            .contentType = "application/json",
            .body = bytesOf(body)};
}

Outgoing BackendTest::jsonGet(const std::string& path) const {
    Outgoing request = jsonPost(path, {});
    request.isGet = true;
    request.headers.emplace("Content-Type", "application/json");
    request.headers.emplace("Authorization", "Bearer " + accessToken.toStdString());
    return request;
}

Outgoing BackendTest::upload(const std::string& path, const QJsonObject& body) const {
    return {.path = joined({api, "hr/timetracker/employees/", path}),
            .headers = {{"Accept", "application/json"},
                        {"app-client", "ios"},
                        {"Authorization", "Bearer " + accessToken.toStdString()}},
            .contentType = "application/json",
            .body = bytesOf(body)};
}

Outgoing BackendTest::start(const char* uuid, const char* startedAt, const char* from) const {
    return upload("sessions/start", {{u"device_uuid"_qs, QString::fromLatin1(from)},
                                     {u"session_uuid"_qs, QString::fromLatin1(uuid)},
                                     {u"started_at"_qs, QString::fromLatin1(startedAt)},
                                     {u"task_id"_qs, u"101"_qs}});
}

Outgoing BackendTest::heartbeat(const QJsonObject& changes) const {
    const QJsonObject interval{{u"interval_uuid"_qs, u"CCCCCCCC-0000-4000-8000-000000000001"_qs},
                               {u"started_at"_qs, u"2025-03-14T11:00:00+01:00"_qs},
                               {u"stopped_at"_qs, QJsonValue::Null}};
    const QJsonObject body{{u"device_uuid"_qs, QString::fromLatin1(device)},
                           {u"session_uuid"_qs, QString::fromLatin1(session)},
                           {u"task_id"_qs, u"101"_qs},
                           {u"started_at"_qs, u"2025-03-14T11:00:00+01:00"_qs},
                           {u"stopped_at"_qs, QJsonValue::Null},
                           {u"total_seconds"_qs, 600},
                           {u"mouse_movements"_qs, 12},
                           {u"key_press_count"_qs, 34},
                           {u"activity_rate"_qs, 56.5},
                           {u"status"_qs, u"active"_qs},
                           {u"intervals"_qs, QJsonArray{interval}}};
    return upload("sessions/heartbeat", merged(body, changes));
}

Outgoing BackendTest::batch(const QJsonArray& segments) const {
    return upload("segments/batch",
                  {{u"device_uuid"_qs, QString::fromLatin1(device)}, {u"segments"_qs, segments}});
}

Outgoing BackendTest::screenshot(const std::string& fileName, const std::string& content) const {
    const std::string boundary = "Boundary-DDDDDDDD-0000-4000-8000-000000000001";
    Outgoing request = upload(joined({"sessions/", session, "/screenshots"}), {});
    request.contentType = "multipart/form-data; boundary=" + boundary;
    request.body = "--" + boundary +
                   "\r\nContent-Disposition: form-data; name=\"screenshots[]\"; filename=\"" + fileName +
                   "\"\r\nContent-Type: image/jpeg\r\n\r\n" + content + "\r\n--" + boundary + "--\r\n";
    return request;
}

Outgoing BackendTest::refresh(const QString& token) const {
    return jsonPost("authentication/refresh", {{u"refresh_token"_qs, token}});
}

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string whole;
    for (const std::string_view part : parts)
        whole.append(part);
    return whole;
}

std::string jpegOf(int width, int height) {
    const auto word = [](int value) {
        return std::string{static_cast<char>(value >> 8), static_cast<char>(value & 0xff)};
    };
    return "\xff\xd8" + std::string("\xff\xe0") + word(4) + "ab" + // an application segment to skip
           "\xff\xc4" + word(3) + "x" + // a table whose marker lies among the frames'
           "\xff\xc0" + word(11) + "\x08" + word(height) + word(width) + "abcd" + "\xff\xd9";
}

QJsonObject segmentRow(int number, const QJsonObject& changes) {
    return merged({{u"segment_date"_qs, u"2025-03-14"_qs},
                   {u"segment_number"_qs, number},
                   {u"timezone"_qs, u"Europe/Berlin"_qs},
                   {u"activity_rate"_qs, 41.5},
                   {u"mouse_movements"_qs, 10},
                   {u"key_press_count"_qs, 20},
                   {u"non_idle_percent"_qs, 100}},
                  changes);
}
