#pragma once

#include "QtExecutor.h"
#include "URLSession.h"

#include <memory>
#include <unordered_set>

class QNetworkAccessManager;

/// HTTP over QNetworkAccessManager on a thread of its own. Keeps no cookies and no cache, ignores no TLS
/// error, follows at most five redirects and only within the origin. `done` is called on the network thread,
/// or on the caller's or the stopping thread when the exchange never began.
class LinuxURLSession final : public URLSession {
public:
    /// Decompressed bytes.
    static constexpr qsizetype maximumBody = qsizetype(16) * 1024 * 1024;

    LinuxURLSession();
    ~LinuxURLSession() override;

    void send(URLRequest request, Done done) override;

    /// Cancels what is under way and whatever is sent later.
    void stop();

private:
    class Exchange;
    class Answer;
    void begin(const URLRequest& request, std::shared_ptr<Answer> answer);

    ThreadExecutor thread_;
    // Touched on the network thread only.
    std::unique_ptr<QNetworkAccessManager> manager_;
    std::unordered_set<std::unique_ptr<Exchange>> exchanges_;
};
