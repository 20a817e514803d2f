#pragma once

#include "Backend.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <atomic>
#include <gtest/gtest.h>

inline QJsonObject json(const std::string& text) {
    return QJsonDocument::fromJson(QByteArray::fromStdString(text)).object();
}
inline std::string text(const QJsonValue& value) {
    return value.toString().toStdString();
}
/// The object with the members of another one, told as JSON.
inline QJsonObject changed(QJsonObject object, const std::string& changes) {
    const QJsonObject members = json(changes);
    for (auto member = members.begin(); member != members.end(); ++member)
        object.insert(member.key(), member.value());
    return object;
}

/// A request as the client sends it, to be spoilt by a test.
struct Outgoing {
    std::string path;
    httplib::Headers headers;
    std::string type = "application/json", body = {};
    bool isGet = false;

    /// An empty value takes the header away.
    Outgoing with(const std::string& header, const std::string& value) const {
        Outgoing result = *this;
        result.headers.erase(header);
        if (header == "Content-Type" && !isGet)
            result.type = value;
        else if (!value.empty())
            result.headers.emplace(header, value);
        return result;
    }
    Outgoing replacing(const std::string& from, const std::string& to) const {
        Outgoing result = *this;
        for (std::string* part : {&result.body, &result.path})
            if (const auto at = part->find(from); at != std::string::npos)
                part->replace(at, from.size(), to);
        return result;
    }
};

struct Answer {
    int status = 0; ///< 0 when there was no whole answer
    std::string raw;

    QJsonObject body() const { return json(raw); }
    QJsonObject data() const { return body().value(u"data").toObject(); }
};

/// The real server on a loopback port, with a clock that stands still until it is set.
class BackendTest : public testing::Test {
protected:
    const std::string device = "AAAAAAAA-0000-4000-8000-000000000001",
                      otherDevice = "AAAAAAAA-0000-4000-8000-000000000002";
    const std::string session = "BBBBBBBB-0000-4000-8000-000000000001",
                      otherSession = "BBBBBBBB-0000-4000-8000-000000000002";
    const std::string api = "/api/v1/", employees = "hr/timetracker/employees/";
    const std::string picture{"\xff\xd8\xff\xe0\0\4ab\xff\xc4\0\3x\xff\xc0\0\13\10\4\70\7\x80"
                              "abcd\xff\xd9",
                              28}; ///< The smallest bytes that tell a size, 1920 by 1080.

    BackendTest() { restart(); }
    void restart() {
        server.reset();
        server = std::make_unique<backend::Backend>(backend::Backend::Options{
            .dataFolder = folder.filePath(u"data"_qs), .now = [this] { return clock.load(); }});
    }
    void setClock(const char* time) {
        clock = double(QDateTime::fromString(QString::fromLatin1(time), Qt::ISODate).toSecsSinceEpoch());
    }

    Answer send(const Outgoing& request) const {
        httplib::Client client("127.0.0.1", server->port());
        client.set_read_timeout(0, readTimeoutMilliseconds * 1000);
        const auto result = request.isGet
                                ? client.Get(request.path, request.headers)
                                : client.Post(request.path, request.headers, request.body, request.type);
        return result ? Answer{result->status, result->body} : Answer{};
    }
    Answer get(const std::string& path) const { return send({path, {}, {}, {}, true}); }
    Answer control(const std::string& name, const std::string& body = "{}") const {
        return send({"/control/" + name, {}, "application/json", body});
    }
    QJsonObject summary() const { return get("/control/summary").body(); }

    /// Signs in with the password of the built-in accounts; the tokens serve the requests made from then on.
    void signIn(const std::string& email = "demo@velmora.example") {
        const QJsonObject data = send(login(email)).data();
        take(data.contains(u"data") ? data.value(u"data").toObject() : data);
    }
    void take(const QJsonObject& tokens) {
        accessToken = text(tokens[u"access_token"]);
        refreshToken = text(tokens[u"refresh_token"]);
        ASSERT_FALSE(accessToken.empty());
    }

    Outgoing post(const std::string& path, const std::string& body) const {
        return {api + path,
                {{"Accept", "application/json"}, {"app-client", "mac"}, {"X-App", "hr"}},
                "application/json",
                body};
    }
    Outgoing login(const std::string& email, const std::string& password = "demo1234") const {
        return post("authentication/singleLogin", R"({"email":")" + email + R"(","password":")" + password +
                                                      R"(","remember_me":1,"use_jwt":1})");
    }
    Outgoing query(const std::string& path) const {
        Outgoing request = post(path, {}).with("Authorization", "Bearer " + accessToken);
        request.isGet = true;
        return request.with("Content-Type", "application/json");
    }
    Outgoing refresh() const {
        return post("authentication/refresh", R"({"refresh_token":")" + refreshToken + "\"}");
    }
    QJsonObject configuration() const { return send(query(employees + "config")).data(); }
    int configurationStatus() const { return send(query(employees + "config")).status; }

    Outgoing upload(const std::string& path, const QJsonObject& body) const {
        return {api + employees + path,
                {{"Accept", "application/json"},
                 {"app-client", "ios"},
                 {"Authorization", "Bearer " + accessToken}},
                "application/json",
                QJsonDocument(body).toJson().toStdString()};
    }
    Outgoing start(const std::string& uuid, const std::string& startedAt, const std::string& from) const {
        return upload("sessions/start", json(R"({"device_uuid":")" + from + R"(","session_uuid":")" + uuid +
                                             R"(","started_at":")" + startedAt + R"(","task_id":"101"})"));
    }
    static std::string interval(const std::string& from, const std::string& to) {
        return R"({"interval_uuid":"CCCCCCCC-0000-4000-8000-000000000001","started_at":")" + from +
               R"(","stopped_at":)" + (to.empty() ? "null}" : '"' + to + "\"}");
    }
    Outgoing heartbeat(const std::string& changes = "{}") const {
        const std::string at = "2025-03-14T11:00:00+01:00";
        return upload(
            "sessions/heartbeat",
            changed(
                json(R"({"device_uuid":")" + device + R"(","session_uuid":")" + session +
                     R"(","task_id":"101","started_at":")" + at +
                     R"(","stopped_at":null,"total_seconds":600,"mouse_movements":12,"key_press_count":34,)"
                     R"("activity_rate":56.5,"status":"active","intervals":[)" +
                     interval(at, {}) + "]}"),
                changes));
    }
    /// A right row of a batch, changed.
    static QJsonObject row(int number, const std::string& changes = "{}") {
        return changed(
            changed(json(R"({"segment_date":"2025-03-14","timezone":"Europe/Berlin","activity_rate":41.5,
                                        "mouse_movements":10,"key_press_count":20,"non_idle_percent":100})"),
                    "{\"segment_number\":" + std::to_string(number) + "}"),
            changes);
    }
    Outgoing batch(const QJsonArray& rows) const {
        return upload("segments/batch",
                      {{u"device_uuid"_qs, QString::fromStdString(device)}, {u"segments"_qs, rows}});
    }
    std::string pictureName() const { return session + "_2025-03-14T11-01-00+01-00_0.jpg"; }
    Outgoing screenshot() const {
        const std::string boundary = "Boundary-DDDDDDDD-0000-4000-8000-000000000001";
        Outgoing request = upload("sessions/" + session + "/screenshots", {});
        request.type = "multipart/form-data; boundary=" + boundary;
        request.body = "--" + boundary +
                       "\r\nContent-Disposition: form-data; name=\"screenshots[]\"; filename=\"" +
                       pictureName() + "\"\r\nContent-Type: image/jpeg\r\n\r\n" + picture + "\r\n--" +
                       boundary + "--\r\n";
        return request;
    }

    struct Case {
        const char* what; ///< Stands in the reason, unless it is empty.
        Outgoing request;
        int status;
    };
    void expectAnswers(const std::vector<Case>& cases) const {
        for (const Case& each : cases) {
            const Answer answer = send(each.request);
            EXPECT_EQ(answer.status, each.status) << each.what << ": " << answer.raw;
            EXPECT_NE(answer.raw.find(each.what), std::string::npos) << each.what << ": " << answer.raw;
        }
    }

    QTemporaryDir folder;
    std::atomic<double> clock = 1741950000; // 2025-03-14T12:00:00+01:00
    std::unique_ptr<backend::Backend> server;
    std::string accessToken, refreshToken;
    int readTimeoutMilliseconds = 30000;
};
