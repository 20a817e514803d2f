#include "ScriptedServer.h"

#include <httplib.h>

namespace {

URLRequest received(const httplib::Request& request, const QUrl& root) {
    URLRequest result;
    result.url = root.resolved(QUrl(QString::fromStdString(request.target)));
    result.method = QByteArray::fromStdString(request.method);
    result.body = QByteArray::fromStdString(request.body);
    for (const auto& [name, value] : request.headers)
        result.headers.emplace_back(QByteArray::fromStdString(name), QByteArray::fromStdString(value));
    return result;
}

} // namespace

ScriptedServer::ScriptedServer(const Script& script)
    : server_(std::make_shared<httplib::Server>())
    , port_(server_->bind_to_any_port("127.0.0.1")) {
    const auto handler = [this, script](const auto& request, auto& response) {
        const std::lock_guard guard(mutex_);
        const URLResponse scripted = script(requests_.emplace_back(received(request, root())));
        response.status = scripted.statusCode.value();
        response.set_content(scripted.body.toStdString(), "application/json");
    };
    server_->set_keep_alive_max_count(1);
    server_->Get(".*", handler).Post(".*", handler);
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    while (!server_->is_running())
        std::this_thread::yield();
}

ScriptedServer::~ScriptedServer() {
    server_->stop();
    thread_.join();
}

std::vector<URLRequest> ScriptedServer::requests() const {
    const std::lock_guard guard(mutex_);
    return requests_;
}
