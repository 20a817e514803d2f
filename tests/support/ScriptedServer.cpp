#include "ScriptedServer.h"

#include <httplib.h>
#include <mutex>
#include <thread>

struct ScriptedServer::Running {
    Script script;
    httplib::Server server;
    int port = server.bind_to_any_port("127.0.0.1");
    std::thread thread;
    std::mutex mutex; ///< Guards the next member, and lets the script answer one request at a time.
    std::vector<URLRequest> requests;

    void answer(const httplib::Request& request, httplib::Response& response);
};

ScriptedServer::ScriptedServer(Script script)
    : running_(std::make_unique<Running>()) {
    running_->script = std::move(script);
    httplib::Server& server = running_->server;
    server.set_keep_alive_max_count(1);
    const auto handler = [this](const auto& request, auto& response) { running_->answer(request, response); };
    server.Get(".*", handler).Post(".*", handler);
    running_->thread = std::thread([&server] { server.listen_after_bind(); });
    while (!server.is_running())
        std::this_thread::yield();
}

ScriptedServer::~ScriptedServer() {
    running_->server.stop();
    running_->thread.join();
}

QUrl ScriptedServer::root() const {
    return QUrl(QStringLiteral("http://127.0.0.1:%1/api/v1/").arg(running_->port));
}

std::vector<URLRequest> ScriptedServer::requests() const {
    const std::lock_guard guard(running_->mutex);
    return running_->requests;
}

void ScriptedServer::Running::answer(const httplib::Request& request, httplib::Response& response) {
    const std::lock_guard guard(mutex);
    URLRequest& received = requests.emplace_back();
    received.url =
        QUrl(QString("http://127.0.0.1:%1%2").arg(port).arg(QString::fromStdString(request.target)));
    received.method = QByteArray::fromStdString(request.method);
    received.body = QByteArray::fromStdString(request.body);
    for (const auto& [name, value] : request.headers)
        received.headers.emplace_back(QByteArray::fromStdString(name), QByteArray::fromStdString(value));

    const URLResponse scripted = script(received);
    const std::string body = scripted.body.toStdString();
    response.status = scripted.statusCode.value_or(200);
    std::size_t length = scripted.statusCode ? body.size() : body.size() + 1;
    for (const auto& [name, value] : scripted.headers) {
        if (name == "Content-Length")
            length = value.toULongLong();
        else
            response.set_header(name.toStdString(), value.toStdString());
    }
    if (length <= body.size())
        return response.set_content(body, "application/json");
    // As if more were to come.
    response.set_content_provider(length, "application/json", [body](auto offset, auto, auto& sink) {
        return offset == 0 && !body.empty() && sink.write(body.data(), body.size());
    });
}
