// What the upload queue adds to the exchanges themselves: one run of 20 tasks (a session start, nine
// heartbeats, ten pictures of 150 KB) against a bare loop of the same requests over the same HTTP class, both
// to the development backend on the loopback interface. Fails when a run takes more than twice the time of
// the loop. An argument names the folder to work in.

#include "backend/Backend.h"
#include "model/CaptureFileName.h"
#include "platform/linux/base/LinuxClock.h"
#include "platform/linux/base/LinuxRandom.h"
#include "platform/linux/network/LinuxURLSession.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "server/APIEndpoints.h"
#include "server/UploadTransport.h"
#include "storage/APITimeZoneResolver.h"
#include "storage/CaptureFolder.h"
#include "storage/DomainStorage.h"
#include "storage/KeychainService.h"
#include "storage/SQLiteStore.h"
#include "upload/NetworkMonitor.h"
#include "upload/RetryManager.h"
#include "upload/ScreenshotFiles.h"
#include "upload/UploadService.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <future>

namespace {

constexpr double allowedRatio = 2;
constexpr int rounds = 15; // of each side, in turn
constexpr int heartbeats = 9;
constexpr int pictures = 10;
constexpr int pictureBytes = 150'000;
constexpr std::chrono::seconds patience(60);

double median(std::vector<double> values) {
    std::ranges::nth_element(values, values.begin() + static_cast<long>(values.size() / 2));
    return values[values.size() / 2];
}

/// Bytes that tell a JPEG picture's size, and are as many as those of a real one.
QByteArray picture() {
    const QByteArray head = QByteArray::fromHex("ffd8ffc0000b080438078001011100");
    return head + QByteArray(pictureBytes - head.size() - 2, '\x5a') + QByteArray::fromHex("ffd9");
}

/// The pipeline with real time, threads, files and HTTP, and the server it talks to.
class Bench {
public:
    explicit Bench(const QString& folder)
        : directory_(folder + "/bench-XXXXXX") {
        information_.supportDirectory = directory_.path();
        store_.emplace(directory_.filePath("Velmora TimeTracker"), domain_, clock_);
        domain_.setBaseURL(QUrl(backend_.url() + "api/v1/"));
        session_.id = random_.uuid();
        session_.deviceId = uuidText(random_.uuid());
        session_.projectId = "101";
        session_.intervals = {{random_.uuid(), clock_.now() - 60, std::nullopt}};
    }
    ~Bench() {
        worker_.stop(); // before what its jobs use
    }
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    bool signIn();
    double runQueue();
    double runBareLoop();
    /// An empty queue tells that the server took everything.
    bool isQueueEmpty() { return !store_->nextUploadTask(clock_.now() + 1e6); }

private:
    double milliseconds(std::function<Task<>()> work);
    void fillQueue();
    std::vector<URLRequest> sameRequests();
    QString picturePath(int number);
    URLRequest json(const Endpoint& endpoint, const QByteArray& body);

    QTemporaryDir directory_;
    backend::Backend backend_{{.dataFolder = directory_.filePath("backend")}};
    LinuxClock clock_;
    LinuxRandom random_;
    SimulatedInformation information_;
    SimulatedPath path_;
    MemoryPreferenceStore preferences_;
    MemorySecretStore secrets_;
    DomainStorage domain_{preferences_};
    APITimeZoneResolver zones_{preferences_, clock_};
    KeychainService keychain_{secrets_};
    APIEndpoints endpoints_{domain_, information_};
    LinuxURLSession http_{"bench/1"};
    ThreadExecutor worker_{"bench.worker"};
    std::optional<SQLiteStore> store_;
    RetryManager retry_{clock_, random_};
    NetworkMonitor network_{path_};
    UploadTransport transport_{
        {http_, endpoints_, keychain_, []() -> Task<std::optional<AuthTokens>> { co_return {}; }}};
    std::optional<UploadService> service_;
    Session session_;
};

double Bench::milliseconds(std::function<Task<>()> work) {
    std::promise<double> done;
    auto result = done.get_future();
    worker_.post([&] {
        spawn(
            [](std::function<Task<>()> timed, std::promise<double>& finished) -> Task<> {
                const auto begin = std::chrono::steady_clock::now();
                co_await timed();
                const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
                finished.set_value(taken.count());
            }(work, done),
            "benchmark");
    });
    if (result.wait_for(patience) != std::future_status::ready) {
        std::fprintf(stderr, "bench-queue: no end within %lld seconds\n", static_cast<long long>(patience.count()));
        std::_Exit(2);
    }
    return result.get();
}

URLRequest Bench::json(const Endpoint& endpoint, const QByteArray& body) {
    URLRequest request = transport_.makeRequest(endpoint, "application/json");
    request.body = body;
    return request;
}

bool Bench::signIn() {
    const URLRequest login{
        endpoints_.url(Endpoints::singleLogin.path),
        "POST",
        {{"Content-Type", "application/json"}, {"Accept", "application/json"}, {"app-client", "mac"}, {"X-App", "hr"}},
        R"({"email":"demo@velmora.example","password":"demo1234","remember_me":1,"use_jwt":1})"};
    QByteArray reply;
    milliseconds([&]() -> Task<> {
        const URLResponse response = co_await http_.exchange(login);
        reply = response.body;
    });
    QJsonObject data = QJsonDocument::fromJson(reply)["data"].toObject();
    if (data.contains("data"))
        data = data["data"].toObject();
    const QString token = data["access_token"].toString();
    keychain_.saveAuthTokens({token, "none", clock_.now() + 3600, clock_.now() + 3600, {}, {}});
    service_.emplace(UploadService::Dependencies{transport_, retry_, network_, *store_, domain_, preferences_, zones_,
                                                 information_, clock_, random_, worker_});
    return !token.isEmpty();
}

QString Bench::picturePath(int number) {
    const QString token = CaptureFileName::timestampToken(clock_.now(), zones_.storedTimeZone());
    return CaptureFolder::capturesDirectory(information_, domain_.domainKey()) + '/' +
           CaptureFileName::format(session_.id, token, number);
}

void Bench::fillQueue() {
    store_->enqueueUploadTask(service_->sessionStartTask(session_).value());
    for (int i = 0; i < heartbeats; ++i)
        store_->enqueueUploadTask(service_->sessionEndTask(session_).value());
    QDir().mkpath(CaptureFolder::capturesDirectory(information_, domain_.domainKey()));
    for (int i = 0; i < pictures; ++i) {
        QFile file(picturePath(i));
        file.open(QIODevice::WriteOnly);
        file.write(picture());
    }
    service_->enqueueScreenshotsForSession(session_.id, domain_.domainKey());
    worker_.sync([] {});
}

double Bench::runQueue() {
    fillQueue();
    return milliseconds([this] { return service_->processQueue(); });
}

/// What the queue would send, made beforehand; read from its rows, which go again.
std::vector<URLRequest> Bench::sameRequests() {
    fillQueue();
    std::vector<URLRequest> requests;
    while (const auto task = store_->nextUploadTask(clock_.now())) {
        if (task->type == UploadTaskType::screenshot) {
            const QByteArray boundary = "Boundary-" + uuidText(random_.uuid()).toLatin1();
            const Endpoint endpoint = Endpoints::screenshots(uuidText(session_.id));
            URLRequest request = transport_.makeRequest(endpoint, "multipart/form-data; boundary=" + boundary);
            request.body = ScreenshotFiles::buildMultipartBody("screenshots[]", QFileInfo(*task->filePath).fileName(),
                                                               "image/jpeg", picture(), boundary);
            requests.push_back(request);
            QFile::remove(*task->filePath);
        } else {
            const bool isStart = task->type == UploadTaskType::startSession;
            requests.push_back(json(isStart ? Endpoints::startSession : Endpoints::heartbeat, *task->jsonPayload));
        }
        store_->markUploadTaskCompleted(task->id);
    }
    return requests;
}

double Bench::runBareLoop() {
    const std::vector<URLRequest> requests = sameRequests();
    int accepted = 0;
    const double time = milliseconds([&]() -> Task<> {
        for (const URLRequest& request : requests) {
            const URLResponse response = co_await http_.exchange(request);
            accepted += response.statusCode == 200;
        }
    });
    if (accepted != 1 + heartbeats + pictures) {
        std::fprintf(stderr, "bench-queue: the server took %d requests of the bare loop\n", accepted);
        std::_Exit(2);
    }
    return time;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules("com.velmora.timetracker.*.info=false");
    Bench bench(argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::tempPath());
    if (!bench.signIn()) {
        std::fprintf(stderr, "bench-queue: cannot sign in\n");
        return 2;
    }
    bench.runQueue(); // warms up both sides
    bench.runBareLoop();
    std::vector<double> queue;
    std::vector<double> bare;
    for (int round = 0; round < rounds; ++round) {
        bare.push_back(bench.runBareLoop());
        queue.push_back(bench.runQueue());
        if (!bench.isQueueEmpty()) {
            std::fprintf(stderr, "bench-queue: the run left tasks behind\n");
            return 2;
        }
    }
    const double ratio = median(queue) / median(bare);
    std::printf("20 tasks: queue %.1f ms, bare loop %.1f ms, ratio %.2f (at most %.1f)\n", median(queue), median(bare),
                ratio, allowedRatio);
    return ratio <= allowedRatio ? 0 : 1;
}
