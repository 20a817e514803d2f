#include "ScriptedServer.h"

#include <httplib.h>
#include <mutex>
#include <thread>

namespace {

QByteArray bytes(const std::string& text) {
    return QByteArray::fromStdString(text);
}

/// Sends `body` as if `length` bytes were to come, and closes the connection after it.
void breakOff(httplib::Response& response, std::size_t length, const std::string& body) {
    response.set_content_provider(
        length, "application/json", [body](std::size_t offset, std::size_t, httplib::DataSink& sink) {
            return offset == 0 && !body.empty() && sink.write(body.data(), body.size());
        });
}

} // namespace

class ScriptedServer::Running {
public:
    explicit Running(Script script)
        : script_(std::move(script)) {
        server_.set_keep_alive_max_count(1);
        const auto handler = [this](const httplib::Request& request, httplib::Response& response) {
            answer(request, response);
        };
        server_.Get(".*", handler).Post(".*", handler);
        port_ = server_.bind_to_any_port("127.0.0.1");
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running())
            std::this_thread::yield();
    }
    ~Running() {
        server_.stop();
        thread_.join();
    }

    QUrl root() const { return QUrl(QStringLiteral("http://127.0.0.1:%1/api/v1/").arg(port_)); }
    std::vector<URLRequest> requests() const {
        const std::lock_guard guard(mutex_);
        return requests_;
    }

private:
    void answer(const httplib::Request& request, httplib::Response& response) {
        const std::lock_guard guard(mutex_);
        requests_.push_back(received(request));
        const URLResponse scripted = script_(requests_.back());
        response.status = scripted.statusCode.value_or(200);
        std::size_t length = scripted.statusCode ? static_cast<std::size_t>(scripted.body.size()) : 1;
        for (const auto& [name, value] : scripted.headers) {
            if (name == "Content-Length")
                length = value.toULongLong();
            else
                response.set_header(name.toStdString(), value.toStdString());
        }
        if (length > static_cast<std::size_t>(scripted.body.size()))
            breakOff(response, length, scripted.body.toStdString());
        else
            response.set_content(scripted.body.toStdString(), "application/json");
    }

    URLRequest received(const httplib::Request& request) const {
        URLRequest result;
        result.url = root().resolved(QUrl(QString::fromStdString(request.target)));
        result.method = bytes(request.method);
        result.body = bytes(request.body);
        for (const auto& [name, value] : request.headers)
            result.headers.emplace_back(bytes(name), bytes(value));
        return result;
    }

    mutable std::mutex mutex_;
    const Script script_;
    std::vector<URLRequest> requests_;
    httplib::Server server_;
    int port_ = 0;
    std::thread thread_;
};

ScriptedServer::ScriptedServer(Script script)
    : running_(std::make_unique<Running>(std::move(script))) {}
ScriptedServer::~ScriptedServer() = default;
QUrl ScriptedServer::root() const {
    return running_->root();
}
std::vector<URLRequest> ScriptedServer::requests() const {
    return running_->requests();
}
