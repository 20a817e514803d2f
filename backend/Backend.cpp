#include "backend/Backend.h"

#include "backend/Connections.h"

#include <QFile>
#include <QRegularExpression>
#include <QUrl>
#include <chrono>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace backend {

namespace {

constexpr const char* loopback = "127.0.0.1";
constexpr std::size_t largestBody = 32 << 20;
constexpr std::size_t threads = 48; // a kept connection and a hanging request hold one each
constexpr double hangSeconds = 60;

double systemTime() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

QByteArray builtInConfiguration() {
    QFile file(u":/backend/default-config.json"_s);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

State makeState(const Backend::Options& options) {
    makePrivateFolder(options.dataFolder);
    const QByteArray configuration = options.configuration.isEmpty() ? builtInConfiguration() : options.configuration;
    return {Accounts::fromJson(configuration), options.dataFolder, options.now ? options.now : systemTime};
}

/// A page of another site could reach a loopback port through the user's browser, under a name of its own or
/// by a form. Neither may read or change anything here.
void demandLocalCaller(const Call& call) {
    static const QRegularExpression local(uR"(\A(127\.0\.0\.1|localhost)(:\d+)?\z)"_s);
    if (!local.match(call.header("Host")).hasMatch())
        throw Refusal{403, u"The Host must be 127.0.0.1 or localhost."_s};
    if (call.request.has_header("Origin") && call.header("Origin") != call.origin)
        throw Refusal{403, u"Requests from other origins are refused."_s};
}

Reply refusalReply(int status, const QString& reason) {
    Reply reply(QJsonObject{{u"message"_s, reason}});
    reply.status = status;
    return reply;
}

Reply replyOf(const Endpoint& endpoint, State& state, const httplib::Request& request) {
    const QString host = QString::fromStdString(request.get_header_value("Host"));
    const Call call{request, u"http://"_s + host};
    try {
        demandLocalCaller(call);
        return endpoint.handle(state, call);
    } catch (const Refusal& refusal) {
        return refusalReply(refusal.status, refusal.reason);
    } catch (const std::exception& error) {
        qWarning("%s %s: %s", request.method.c_str(), request.path.c_str(), error.what());
        return refusalReply(500, u"The server failed."_s);
    }
}

void send(const Reply& reply, httplib::Response& response) {
    response.status = reply.status;
    for (const auto& [name, value] : reply.headers)
        response.set_header(name, value);
    response.set_content(reply.body.toStdString(), reply.type);
}

/// Announces the whole body and ends the connection behind its first half.
void sendTruncated(const Reply& reply, httplib::Response& response) {
    response.status = reply.status;
    const std::string half = reply.body.left(reply.body.size() / 2).toStdString();
    response.set_content_provider(static_cast<std::size_t>(reply.body.size()), reply.type,
                                  [half](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                                      return offset == 0 && sink.write(half.data(), half.size());
                                  });
}

} // namespace

Backend::Backend(const Options& options)
    : state(makeState(options)) {
    install(controlEndpoints(), false);
    install(signInEndpoints(), true);
    install(trackingEndpoints(), true);
    const auto unknown = [](State&, const Call&) -> Reply { throw Refusal{404, u"There is no such endpoint."_s}; };
    install({{Endpoint::Method::get, ".*", unknown}, {Endpoint::Method::post, ".*", unknown}}, true);
    server.new_task_queue = [] { return new httplib::ThreadPool(threads); };
    server.set_payload_max_length(largestBody);
    server.set_keep_alive_max_count(1000);
    server.set_tcp_nodelay(true);
    boundPort = options.port;
    if (boundPort == 0)
        boundPort = server.bind_to_any_port(loopback);
    else if (!server.bind_to_port(loopback, boundPort))
        boundPort = -1;
    if (boundPort < 0)
        throw std::runtime_error("cannot listen on 127.0.0.1, port " + std::to_string(options.port));
    listener = std::thread([this] { server.listen_after_bind(); });
}

Backend::~Backend() {
    {
        const std::lock_guard lock(mutex);
        state.faults.reset();
    }
    server.stop();
    shutDownConnections(boundPort);
    listener.join();
}

QString Backend::url() const {
    return u"http://%1:%2/"_s.arg(QLatin1String(loopback)).arg(boundPort);
}

void Backend::install(const std::vector<Endpoint>& endpoints, bool faulty) {
    for (const Endpoint& endpoint : endpoints) {
        const auto handler = [this, endpoint, faulty](const httplib::Request& request, httplib::Response& response) {
            serve(endpoint, faulty, request, response);
        };
        if (endpoint.method == Endpoint::Method::get)
            server.Get(endpoint.pattern, handler);
        else
            server.Post(endpoint.pattern, handler);
    }
}

void Backend::serve(const Endpoint& endpoint, bool faulty, const httplib::Request& request,
                    httplib::Response& response) {
    std::unique_lock lock(mutex);
    const auto fault = faulty ? state.faults.take(QString::fromStdString(request.path)) : std::nullopt;
    if (fault && (fault->kind == FaultKind::hang || fault->kind == FaultKind::delay))
        state.faults.wait(lock, fault->kind == FaultKind::hang ? hangSeconds : fault->seconds);
    if (fault && (fault->kind == FaultKind::hang || fault->kind == FaultKind::resetBefore))
        return resetConnection(boundPort, request.remote_port);
    Reply reply = fault && fault->kind == FaultKind::status
                      ? refusalReply(fault->status, u"A fault that was asked for."_s)
                      : replyOf(endpoint, state, request);
    if (fault && !fault->body.isEmpty())
        reply.body = fault->body.toUtf8();
    if (fault && fault->kind == FaultKind::resetAfter)
        return resetConnection(boundPort, request.remote_port);
    if (fault && fault->kind == FaultKind::truncate)
        return sendTruncated(reply, response);
    send(reply, response);
}

} // namespace backend
