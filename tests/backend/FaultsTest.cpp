#include "BackendTest.h"

#include <chrono>

class FaultsTest : public BackendTest {
protected:
    FaultsTest() { signIn(); }

    void arm(const QJsonObject& fault) { EXPECT_EQ(control("faults", fault).status, 200); }
    int heartbeatsTaken() { return summary().value(u"heartbeats").toInt(); }
    QJsonObject lastEntry() { return ledger().last().toObject(); }

    /// What a client on a bare socket gets, until the connection ends; errors as their name.
    std::string rawAnswer(const Outgoing& request);
};

TEST_F(FaultsTest, AStatusStrikesAsOftenAsAskedAndThatPathOnly) {
    arm({{u"path"_qs, u"sessions/heartbeat"_qs},
         {u"kind"_qs, u"status"_qs},
         {u"status"_qs, 503},
         {u"count"_qs, 2}});
    EXPECT_EQ(send(jsonGet("hr/timetracker/employees/config")).status, 200);
    EXPECT_EQ(send(heartbeat()).status, 503);
    EXPECT_EQ(send(heartbeat()).status, 503);
    EXPECT_EQ(heartbeatsTaken(), 0);
    EXPECT_EQ(send(heartbeat()).status, 200);
}

TEST_F(FaultsTest, AStatusMayCarryABodyOfItsOwn) {
    arm({{u"kind"_qs, u"status"_qs}, {u"status"_qs, 200}, {u"body"_qs, u"<html>"_qs}});
    const Answer answer = send(heartbeat());
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.raw, "<html>");
    EXPECT_EQ(heartbeatsTaken(), 0);
}

TEST_F(FaultsTest, ADelayHoldsTheAnswerUpAndOthersPass) {
    arm({{u"path"_qs, u"heartbeat"_qs}, {u"kind"_qs, u"delay"_qs}, {u"seconds"_qs, 0.3}});
    const auto began = std::chrono::steady_clock::now();
    std::thread beside([this] { EXPECT_EQ(get("/control/summary").status, 200); });
    EXPECT_EQ(send(heartbeat()).status, 200);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(300));
    beside.join();
}

TEST_F(FaultsTest, AHangNeverAnswersAndEndsWithTheReset) {
    arm({{u"kind"_qs, u"hang"_qs}});
    readTimeoutMilliseconds = 200;
    EXPECT_EQ(send(heartbeat()).status, 0);
    readTimeoutMilliseconds = 10000;
    EXPECT_EQ(lastEntry().value(u"status").toInt(), 0);
    EXPECT_EQ(lastEntry().value(u"fault").toString(), u"hang");

    arm({{u"kind"_qs, u"hang"_qs}});
    std::thread waiting([this] { EXPECT_EQ(send(heartbeat()).status, 0); });
    while (ledger().size() < 3) // sign-in and the two heartbeats
        std::this_thread::yield();
    control("reset-faults");
    waiting.join();
    EXPECT_EQ(heartbeatsTaken(), 0);
}

TEST_F(FaultsTest, AResetBeforeHandlingChangesNothing) {
    arm({{u"path"_qs, u"heartbeat"_qs}, {u"kind"_qs, u"reset-before"_qs}});
    EXPECT_EQ(rawAnswer(heartbeat()), "ECONNRESET");
    EXPECT_EQ(heartbeatsTaken(), 0);
    EXPECT_EQ(send(heartbeat()).status, 200);
}

TEST_F(FaultsTest, AResetAfterHandlingHasCommitted) {
    arm({{u"path"_qs, u"heartbeat"_qs}, {u"kind"_qs, u"reset-after"_qs}});
    EXPECT_EQ(rawAnswer(heartbeat()), "ECONNRESET");
    EXPECT_EQ(heartbeatsTaken(), 1);
    EXPECT_EQ(lastEntry().value(u"status").toInt(), 200);
}

TEST_F(FaultsTest, ATruncatedAnswerEndsBeforeItsLength) {
    const std::string whole = send(heartbeat()).raw;
    arm({{u"kind"_qs, u"truncate"_qs}});
    const std::string answer = rawAnswer(heartbeat());
    EXPECT_NE(answer.find("HTTP/1.1 200"), std::string::npos);
    EXPECT_NE(answer.find("Content-Length: " + std::to_string(whole.size())), std::string::npos);
    EXPECT_EQ(answer.substr(answer.find("\r\n\r\n") + 4), whole.substr(0, whole.size() / 2));
}

TEST_F(FaultsTest, ResetDropsWhatHasNotStruckAndBadFaultsAreRefused) {
    arm({{u"kind"_qs, u"status"_qs}, {u"count"_qs, 100}});
    control("reset-faults");
    EXPECT_EQ(send(heartbeat()).status, 200);
    EXPECT_EQ(control("faults", {{u"kind"_qs, u"explode"_qs}}).status, 422);
    EXPECT_EQ(control("faults", {{u"kind"_qs, u"delay"_qs}, {u"seconds"_qs, 61}}).status, 422);
}

TEST_F(FaultsTest, TheLedgerTellsEachRequestWithTheDigestOfItsContent) {
    const qint64 seen = lastEntry().value(u"seq").toInteger();
    send(heartbeat());
    const std::string picture = jpegOf(4, 4);
    send(screenshot(joined({session, "_2025-03-14T11-01-00Z_0.jpg"}), picture));
    send(heartbeat({{u"status"_qs, u"paused"_qs}}));
    send(jsonGet("nowhere?x=1"));
    const QJsonArray entries =
        get("/control/ledger?since=" + std::to_string(seen)).body.value(u"entries").toArray();
    ASSERT_EQ(entries.size(), 4);
    const int statuses[] = {200, 200, 422, 404};
    for (int index = 0; index < 4; ++index) {
        EXPECT_EQ(entries[index][u"status"].toInt(), statuses[index]);
        EXPECT_EQ(entries[index][u"at"].toDouble(), clock.load());
    }
    EXPECT_EQ(entries[1][u"body_bytes"].toInteger(), static_cast<qint64>(picture.size()));
    EXPECT_NE(entries[0][u"body_sha256"], entries[2][u"body_sha256"]);
    EXPECT_EQ(entries[3][u"path"].toString(), u"/api/v1/nowhere?x=1");
    EXPECT_FALSE(QJsonDocument(entries).toJson().contains(accessToken.toUtf8()));
}

std::string FaultsTest::rawAnswer(const Outgoing& request) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(server->port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    std::string text = "POST " + request.path +
                       " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: " + request.contentType +
                       "\r\nContent-Length: " + std::to_string(request.body.size()) + "\r\n";
    for (const auto& [name, value] : request.headers)
        text += name + ": " + value + "\r\n";
    text += "\r\n" + request.body;
    EXPECT_EQ(::send(descriptor, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    std::string received;
    char buffer[4096];
    ssize_t size = 0;
    while ((size = ::recv(descriptor, buffer, sizeof buffer, 0)) > 0)
        received.append(buffer, static_cast<std::size_t>(size));
    if (size < 0)
        received += errno == ECONNRESET ? "ECONNRESET" : "error";
    ::close(descriptor);
    return received;
}
