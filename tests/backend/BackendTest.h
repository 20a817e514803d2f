#pragma once

#include "Backend.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <atomic>
#include <gtest/gtest.h>

/// A request as the client sends it, to be spoilt by a test.
struct Outgoing {
    std::string path;
    httplib::Headers headers;
    std::string contentType;
    std::string body;
    bool isGet = false;
};

struct Answer {
    int status = 0; ///< 0 when there was no whole answer
    QJsonObject body;
    std::string raw;

    QJsonObject data() const { return body.value(u"data").toObject(); }
    std::string message() const { return body.value(u"message").toString().toStdString(); }
};

/// The real server on a loopback port, with a clock that stands still until it is set.
class BackendTest : public testing::Test {
protected:
    static constexpr const char* api = "/api/v1/";
    static constexpr const char* device = "AAAAAAAA-0000-4000-8000-000000000001";
    static constexpr const char* otherDevice = "AAAAAAAA-0000-4000-8000-000000000002";
    static constexpr const char* session = "BBBBBBBB-0000-4000-8000-000000000001";
    static constexpr const char* otherSession = "BBBBBBBB-0000-4000-8000-000000000002";

    BackendTest();
    void restart();
    /// An ISO 8601 time.
    void setClock(const char* time);

    Answer send(const Outgoing& request);
    Answer get(const std::string& path);
    Answer control(const std::string& name, const QJsonObject& body = {});
    QJsonObject summary() { return get("/control/summary").body; }
    QJsonArray ledger() { return get("/control/ledger").body.value(u"entries").toArray(); }

    /// Signs in with the password of the built-in accounts; the tokens serve the requests made from then on.
    void signIn(const char* email = "demo@velmora.example");

    Outgoing login(const char* email, const char* password) const;
    Outgoing jsonPost(const std::string& path, const QJsonObject& body, const char* appClient = "mac") const;
    Outgoing jsonGet(const std::string& path) const;
    Outgoing start(const char* session, const char* startedAt, const char* device) const;
    Outgoing heartbeat(const QJsonObject& changes = {}) const;
    Outgoing batch(const QJsonArray& segments) const;
    Outgoing screenshot(const std::string& fileName, const std::string& content) const;
    Outgoing upload(const std::string& path, const QJsonObject& body) const;
    Outgoing refresh(const QString& refreshToken) const;

    QTemporaryDir folder;
    std::atomic<double> clock;
    std::unique_ptr<backend::Backend> server;
    QString accessToken;
    QString refreshToken;
    int readTimeoutMilliseconds = 10000;
};

std::string joined(std::initializer_list<std::string_view> parts);
/// The smallest bytes that tell a JPEG picture's size.
std::string jpegOf(int width, int height);
/// A right row of a batch, to be changed.
QJsonObject segmentRow(int number, const QJsonObject& changes = {});
