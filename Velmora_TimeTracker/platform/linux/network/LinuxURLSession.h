#pragma once

#include "platform/URLSession.h"
#include "platform/linux/base/QtExecutor.h"

#include <memory>
#include <unordered_map>

class QNetworkAccessManager;

/// HTTP over QNetworkAccessManager on a thread of its own. Keeps no cookies and no cache, ignores no TLS
/// error, follows at most five redirects. `done` is called on the network thread; for an exchange that was dropped
/// before it began, on the thread that dropped it.
class LinuxURLSession final : public URLSession {
public:
    /// Bytes after decompression.
    static constexpr qsizetype maximumBody = qsizetype(16) * 1024 * 1024;

    explicit LinuxURLSession(QString userAgent);
    ~LinuxURLSession() override;

    void send(URLRequest request, Done done) override;

    /// Cancels what is under way and whatever is sent later.
    void stop();

private:
    class Answer;
    class Exchange;
    void begin(const URLRequest& request, std::shared_ptr<Answer> answer);

    const QString userAgent_;

    // Touched on the network thread only.
    bool stopped_ = false;
    std::unique_ptr<QNetworkAccessManager> manager_; ///< Made for the first exchange.
    std::unordered_map<Exchange*, std::unique_ptr<Exchange>> exchanges_;
    ThreadExecutor thread_; ///< Last, so that it ends first.
};
