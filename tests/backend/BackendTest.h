#pragma once

#include "Backend.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <atomic>
#include <gtest/gtest.h>

using Outgoing = httplib::Request;

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
/// The request with another header; an empty value takes it away.
inline Outgoing with(Outgoing request, const std::string& header, const std::string& value) {
    request.headers.erase(header);
    if (!value.empty())
        request.headers.emplace(header, value);
    return request;
}
/// The request with another text in its path and in its body.
inline Outgoing replacing(Outgoing request, const std::string& from, const std::string& to) {
    for (std::string* part : {&request.body, &request.path})
        if (const auto at = part->find(from); at != std::string::npos)
            part->replace(at, from.size(), to);
    return request;
}

struct Answer {
    int status = 0; ///< 0 when there was no whole answer
    std::string raw;

    QJsonObject data() const { return json(raw).value(u"data").toObject(); }
};

/// The real server on a loopback port, with a clock that stands still until it is set.
class BackendTest : public testing::Test {
protected:
    const std::string device = "AAAAAAAA-0000-4000-8000-000000000001",
                      session = "BBBBBBBB-0000-4000-8000-000000000001";
    const std::string startedAt = "2025-03-14T11:00:00+01:00";
    const std::string employees = "hr/timetracker/employees/",
                      pictureName = session + "_2025-03-14T11-01-00+01-00_0.jpg";
    /// The smallest bytes that tell a size, 1920 by 1080.
    const std::string picture{"\xff\xd8\xff\xe0\0\4ab\xff\xc4\0\3x\xff\xc0\0\13\10\4\70\7\x80"
                              "abcd\xff\xd9",
                              28};

    BackendTest() { restart(); }
    void restart() {
        server.reset();
        server = std::make_unique<backend::Backend>(backend::Backend::Options{
            .dataFolder = folder.filePath(u"data"_qs), .now = [this] { return clock.load(); }});
    }
    Answer send(const Outgoing& request) const {
        const auto result = httplib::Client("127.0.0.1", server->port()).send(request);
        return result ? Answer{result->status, result->body} : Answer{};
    }
    Answer get(const std::string& path) const { return send(make("GET", path)); }
    Answer control(const std::string& name, const std::string& body = "{}") const {
        return send(make("POST", "/control/" + name, body));
    }
    QJsonObject summary() const { return json(get("/control/summary").raw); }

    /// Signs in with the password of the built-in accounts; the tokens serve the requests made from then on.
    void signIn(const std::string& email = "demo@velmora.example") { take(send(login(email)).data()); }
    void take(const QJsonObject& data) {
        const QJsonObject tokens = data.contains(u"data") ? data.value(u"data").toObject() : data;
        accessToken = text(tokens[u"access_token"]);
        refreshToken = text(tokens[u"refresh_token"]);
        ASSERT_FALSE(accessToken.empty());
    }

    static Outgoing make(const std::string& method, const std::string& path, const std::string& body = {}) {
        Outgoing request;
        request.method = method;
        request.path = path;
        request.body = body;
        request.headers = {{"Content-Type", "application/json"}, {"Accept", "application/json"}};
        return request;
    }
    static Outgoing post(const std::string& path, const std::string& body) {
        return with(with(make("POST", "/api/v1/" + path, body), "app-client", "mac"), "X-App", "hr");
    }
    static Outgoing login(const std::string& email, const std::string& password = "demo1234") {
        return post("authentication/singleLogin", R"({"email":")" + email + R"(","password":")" + password +
                                                      R"(","remember_me":1,"use_jwt":1})");
    }
    Outgoing refresh() const {
        return post("authentication/refresh", R"({"refresh_token":")" + refreshToken + "\"}");
    }
    Outgoing query(const std::string& path) const {
        Outgoing request = with(post(path, {}), "Authorization", "Bearer " + accessToken);
        request.method = "GET";
        return request;
    }
    Answer configuration() const { return send(query(employees + "config")); }

    Outgoing upload(const std::string& path, const QJsonObject& body) const {
        const Outgoing request = post(employees + path, QJsonDocument(body).toJson().toStdString());
        return with(with(with(request, "X-App", ""), "app-client", "ios"), "Authorization",
                    "Bearer " + accessToken);
    }
    Outgoing start() const {
        return upload("sessions/start",
                      json(R"({"task_id":"101","device_uuid":")" + device + R"(","session_uuid":")" +
                           session + R"(","started_at":")" + startedAt + "\"}"));
    }
    static std::string interval(const std::string& from, const std::string& to) {
        return R"({"interval_uuid":"CCCCCCCC-0000-4000-8000-000000000001","started_at":")" + from +
               R"(","stopped_at":)" + (to.empty() ? "null}" : '"' + to + "\"}");
    }
    Outgoing heartbeat(const std::string& changes = "{}") const {
        const std::string body =
            R"({"task_id":"101","stopped_at":null,"total_seconds":600,"mouse_movements":12,
            "key_press_count":34,"activity_rate":56.5,"status":"active","device_uuid":")" +
            device + R"(","session_uuid":")" + session + R"(","started_at":")" + startedAt +
            R"(","intervals":[)" + interval(startedAt, {}) + "]}";
        return upload("sessions/heartbeat", changed(json(body), changes));
    }
    Outgoing beat(const std::string& key, const std::string& value) const {
        return heartbeat("{\"" + key + "\":" + value + "}");
    }
    /// A right row of a batch, changed.
    static QJsonObject row(int number, const std::string& changes = "{}") {
        const QJsonObject whole =
            json(R"({"segment_date":"2025-03-14","timezone":"Europe/Berlin","activity_rate":41.5,
            "mouse_movements":10,"key_press_count":20,"non_idle_percent":100,"segment_number":)" +
                 std::to_string(number) + "}");
        return changed(whole, changes);
    }
    Outgoing batch(const QJsonArray& rows) const {
        return upload("segments/batch",
                      {{u"device_uuid"_qs, QString::fromStdString(device)}, {u"segments"_qs, rows}});
    }
    Outgoing screenshot() const {
        const std::string boundary = "Boundary-DDDDDDDD-0000-4000-8000-000000000001";
        Outgoing request = upload("sessions/" + session + "/screenshots", {});
        request.body =
            "--" + boundary + "\r\nContent-Disposition: form-data; name=\"screenshots[]\"; filename=\"" +
            pictureName + "\"\r\nContent-Type: image/jpeg\r\n\r\n" + picture + "\r\n--" + boundary + "--\r\n";
        return with(request, "Content-Type", "multipart/form-data; boundary=" + boundary);
    }

    struct Case {
        const char* what; ///< Stands in the reason, unless it is empty.
        Outgoing request;
        int status;
    };
    void expectAnswers(const std::vector<Case>& cases) const {
        for (const Case& each : cases) {
            const Answer answer = send(each.request);
            EXPECT_TRUE(answer.status == each.status && answer.raw.find(each.what) != std::string::npos)
                << each.what << ": " << answer.status << ' ' << answer.raw;
        }
    }

    QTemporaryDir folder;
    std::atomic<double> clock = 1741950000; // 2025-03-14T12:00:00+01:00
    std::unique_ptr<backend::Backend> server;
    std::string accessToken, refreshToken;
};
