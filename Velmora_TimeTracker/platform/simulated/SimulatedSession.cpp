#include "platform/simulated/SimulatedSession.h"

#include <limits>

using namespace Qt::StringLiterals;

void SimulatedURLSession::send(URLRequest request, Done done) {
    requests.push_back(request);
    Reply reply = server_ ? server_(request) : failure(URLError::Code::cannotConnectToHost);
    const Seconds deadline = request.timeout * 10;
    if (reply.delay > deadline)
        reply = failure(URLError::Code::timedOut, reply.delay == silence().delay ? request.timeout : deadline);
    auto timer = std::make_shared<std::unique_ptr<Executor::Timer>>();
    *timer = delivery_.after(reply.delay, [timer, done = std::move(done), result = std::move(reply.result)] {
        const auto self = std::move(*timer); // keeps the timer alive during its own job
        done(result);
    });
}

SimulatedURLSession::Reply SimulatedURLSession::answer(int status, const QByteArray& body, Seconds delay) {
    return {URLResponse{status, {}, body}, delay};
}

SimulatedURLSession::Reply SimulatedURLSession::failure(URLError::Code code, Seconds delay) {
    return {URLError(code, u"simulated transport error %1"_s.arg(static_cast<int>(code))), delay};
}

SimulatedURLSession::Reply SimulatedURLSession::silence() {
    return {URLResponse{}, std::numeric_limits<Seconds>::infinity()};
}
