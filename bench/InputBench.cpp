// What it costs to bring an input event from the X server to the counters, over the smallest client that
// counts the same events. Fails when a bound is passed, or when anything is allocated on the way.

#include "platform/linux/base/LinuxClock.h"
#include "platform/linux/x11/X11InputListener.h"
#include "tests/platform/x11/X11TestClient.h"
#include "tests/platform/x11/XvfbFixture.h"
#include "tracking/ActivityTracker.h"

#include <QCoreApplication>
#include <QProcess>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <new>
#include <poll.h>
#include <thread>
#include <xcb/record.h>

using namespace Qt::StringLiterals;

namespace {

constexpr double allowedRatio = 1.5;
constexpr int rounds = 7;
constexpr int warmUp = 4'000;
constexpr int eventsARound = 60'000; // half of them keys, half motions
/// What a connection's buffer holds: more at once, and Xvfb itself loses some on their way to a recorder.
constexpr int eventsAtOnce = 2'000;

std::atomic<long> allocations = 0; // by other threads than the main one
thread_local bool isMainThread = false;

void* countedAllocation(size_t size) {
    if (!isMainThread)
        ++allocations;
    return std::malloc(size ? size : 1);
}

} // namespace

void* operator new(size_t size) {
    if (void* memory = countedAllocation(size))
        return memory;
    throw std::bad_alloc();
}
void* operator new[](size_t size) {
    return operator new(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
    std::free(memory);
}

namespace {

double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) * 1e-9;
}

/// The scripted user: a process of its own that makes as many events as each line of its input says.
int runUser() {
    X11TestClient user(qgetenv("DISPLAY"));
    for (int count = 0; std::scanf("%d", &count) == 1;) {
        for (int i = 0; i < count / 2; ++i) {
            user.move();
            user.stroke(X11TestClient::keyA);
        }
        user.sync();
        std::puts("done");
        std::fflush(stdout);
    }
    return 0;
}

class User {
public:
    User() {
        process_.start(QCoreApplication::applicationFilePath(), {u"--user"_s});
        process_.waitForStarted();
    }
    ~User() {
        process_.closeWriteChannel();
        process_.waitForFinished(5000);
    }
    User(const User&) = delete;
    User& operator=(const User&) = delete;

    void act(int events) {
        process_.write(QByteArray::number(events) + '\n');
        process_.waitForReadyRead(30000);
        process_.readAll();
    }

private:
    QProcess process_;
};

/// The processor time of this process while the user makes events and `counted` reaches them; negative when
/// it does not within some seconds.
template <typename Counted>
double measure(User& user, int events, Counted counted) {
    const double start = processorSeconds();
    for (int done = 0; done < events; done += eventsAtOnce) {
        const auto before = counted();
        user.act(eventsAtOnce);
        for (int i = 0; counted() < before + eventsAtOnce; ++i) {
            if (i == 1000) {
                std::printf("bench-input: of %d events %ld were told\n", eventsAtOnce, long(counted() - before));
                return -1;
            }
            poll(nullptr, 0, 5);
            if (i % 50 == 49)
                user.act(0); // Any answer of the server carries along what it still holds for a recorder.
        }
    }
    return processorSeconds() - start;
}

/// The baseline: counts what the server reports and does nothing else.
class PlainClient {
public:
    PlainClient()
        : control_(xcb_connect(nullptr, nullptr))
        , data_(xcb_connect(nullptr, nullptr))
        , context_(xcb_generate_id(control_)) {
        const xcb_record_client_spec_t clients = XCB_RECORD_CS_ALL_CLIENTS;
        xcb_record_range_t ranges[2] = {};
        ranges[0].device_events = {XCB_KEY_PRESS, XCB_KEY_PRESS};
        ranges[1].device_events = {XCB_MOTION_NOTIFY, XCB_MOTION_NOTIFY};
        std::free(xcb_request_check(control_,
                                    xcb_record_create_context_checked(control_, context_, 0, 1, 2, &clients, ranges)));
        const auto cookie = xcb_record_enable_context(data_, context_);
        std::free(xcb_record_enable_context_reply(data_, cookie, nullptr));
        thread_ = std::thread([this, cookie] {
            while (auto* reply = xcb_record_enable_context_reply(data_, cookie, nullptr)) {
                const bool isEnd = reply->category == 5;
                count_ += xcb_record_enable_context_data_length(reply) / 32;
                std::free(reply);
                if (isEnd)
                    break;
            }
        });
    }
    ~PlainClient() {
        std::free(xcb_request_check(control_, xcb_record_disable_context_checked(control_, context_)));
        thread_.join();
        xcb_disconnect(data_);
        xcb_disconnect(control_);
    }
    PlainClient(const PlainClient&) = delete;
    PlainClient& operator=(const PlainClient&) = delete;

    long count() const { return count_; }

private:
    xcb_connection_t* control_;
    xcb_connection_t* data_;
    xcb_record_context_t context_;
    std::atomic<long> count_ = 0;
    std::thread thread_;
};

double plainRound(User& user) {
    const PlainClient client;
    const auto counted = [&client] { return client.count(); };
    measure(user, warmUp, counted);
    return measure(user, eventsARound, counted);
}

double ourRound(User& user, long& allocated) {
    const LinuxClock clock;
    X11InputListener listener;
    ActivityTracker tracker(listener, clock);
    if (!tracker.start())
        return -1;
    const auto counted = [&tracker] {
        const auto snapshot = tracker.snapshot(1);
        return snapshot.mouseMoves + snapshot.keyboardEvents;
    };
    measure(user, warmUp, counted);
    const long before = allocations;
    const double seconds = measure(user, eventsARound, counted);
    allocated += allocations - before;
    return seconds;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    isMainThread = true;
    const QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().contains(u"--user"_s))
        return runUser();

    const XvfbServer server;
    const SessionEnvironment environment(server.display());
    User user;
    std::vector<double> plain, ours, ratios;
    long allocated = 0;
    for (int i = 0; i < rounds; ++i) {
        plain.push_back(plainRound(user));
        ours.push_back(ourRound(user, allocated));
        if (plain.back() <= 0 || ours.back() <= 0)
            return 1;
        ratios.push_back(ours.back() / plain.back());
    }
    const double nanoseconds = 1e9 / eventsARound;
    std::printf("an event from the X server to the counters: %.0f ns of processor time, the plain client %.0f ns\n",
                median(ours) * nanoseconds, median(plain) * nanoseconds);
    std::printf("allocations in %d events: %ld\n", rounds * eventsARound, allocated);
    std::printf("ratio %.2f (at most %.1f)\n", median(ratios), allowedRatio);
    return median(ratios) <= allowedRatio && allocated == 0 ? 0 : 1;
}
