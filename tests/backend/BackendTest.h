#pragma once

#include "backend/Backend.h"

#include <QJsonArray>
#include <QTemporaryDir>
#include <atomic>
#include <gtest/gtest.h>

using Outgoing = httplib::Request;

/// The request with another value of a header; an empty one takes the header away.
inline Outgoing with(Outgoing request, const std::string& header, const std::string& value) {
    request.headers.erase(header);
    if (!value.empty())
        request.headers.emplace(header, value);
    return request;
}
/// The request with another text in its path or in its body, or in both.
inline Outgoing replacing(Outgoing request, const std::string& from, const std::string& to) {
    for (std::string* part : {&request.path, &request.body})
        if (const auto at = part->find(from); at != std::string::npos)
            part->replace(at, from.size(), to);
    return request;
}

/// The real server on a loopback port, with a clock that stands still until it is set.
class BackendTest : public testing::Test {
protected:
    const std::string authentication = "/api/v1/authentication/";
    const std::string employees = "/api/v1/hr/timetracker/employees/";

    BackendTest() { restart(); }
    void restart() {
        server.reset();
        server = std::make_unique<backend::Backend>(
            backend::Backend::Options{.dataFolder = folder.filePath("data"), .now = [this] { return clock.load(); }});
    }

    /// A request of the client before it is signed in; what has no body is a GET.
    static Outgoing request(const std::string& path, const std::string& body = {}) {
        const char* json = "application/json";
        Outgoing made;
        made.method = body.empty() ? "GET" : "POST";
        made.path = path;
        made.headers = {{"Content-Type", json}, {"Accept", json}, {"app-client", "mac"}, {"X-App", "hr"}};
        made.body = body;
        return made;
    }
    Outgoing login(const std::string& email, const std::string& password = "demo1234") const {
        return request(authentication + "singleLogin",
                       R"({"email":")" + email + R"(","password":")" + password + R"(","remember_me":1,"use_jwt":1})");
    }
    Outgoing refresh() const {
        return request(authentication + "refresh", R"({"refresh_token":")" + refreshToken + "\"}");
    }
    Outgoing withBearer(const Outgoing& request) const {
        return with(request, "Authorization", "Bearer " + accessToken);
    }
    Outgoing configuration() const { return withBearer(request(employees + "config")); }

    /// The status is -1 when there was no whole answer.
    httplib::Response send(const Outgoing& request) const {
        const auto result = httplib::Client("127.0.0.1", server->port()).send(request);
        return result ? *result : httplib::Response();
    }
    QJsonDocument answer(const Outgoing& request) const {
        return QJsonDocument::fromJson(QByteArray::fromStdString(send(request).body));
    }
    QJsonDocument summary() const { return answer(request("/control/summary")); }

    /// The tokens of the answer serve the requests made from then on.
    void take(const Outgoing& request) {
        const QJsonValue data = answer(request)["data"];
        const QJsonValue tokens = data["data"].isObject() ? data["data"] : data;
        accessToken = tokens["access_token"].toString().toStdString();
        refreshToken = tokens["refresh_token"].toString().toStdString();
        ASSERT_FALSE(accessToken.empty());
    }
    /// With the password of the built-in accounts.
    void signIn(const std::string& email = "demo@velmora.example") { take(login(email)); }

    /// `reason` is a part of the body.
    void expect(int status, const Outgoing& request, const std::string& reason = {}) const {
        const httplib::Response answer = send(request);
        EXPECT_TRUE(answer.status == status && answer.body.find(reason) != std::string::npos)
            << "not " << status << ' ' << reason << ": " << answer.status << ' ' << answer.body;
    }

    QTemporaryDir folder;
    std::atomic<double> clock = 1741950000; // 2025-03-14T12:00:00+01:00
    std::unique_ptr<backend::Backend> server;
    std::string accessToken, refreshToken;
};
