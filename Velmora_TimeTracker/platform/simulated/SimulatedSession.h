#pragma once

#include "platform/URLSession.h"
#include "platform/simulated/Timeline.h"

#include <functional>
#include <vector>

/// A network whose server is a function. It handles a request when it is sent, so that its effect remains even if the
/// response is late or lost, or the client dies.
class SimulatedURLSession : public URLSession {
public:
    struct Reply {
        Result result;
        Seconds delay = 0.05; ///< Beyond the request's hard deadline the exchange fails with `timedOut`.
    };
    using Server = std::function<Reply(const URLRequest&)>;

    /// `delivery` is the executor on which responses arrive.
    SimulatedURLSession(Timeline& timeline, Executor& delivery)
        : timeline_(timeline)
        , delivery_(delivery) {}

    void setServer(Server server) { server_ = std::move(server); }
    /// Every request sent so far.
    std::vector<URLRequest> requests;

    void send(URLRequest request, Done done) override;

    static Reply answer(int status, const QByteArray& body = {}, Seconds delay = 0.05);
    static Reply failure(URLError::Code code, Seconds delay = 0.05);
    static Reply silence();

private:
    Timeline& timeline_;
    Executor& delivery_;
    Server server_;
};
