#pragma once

#include "platform/URLSession.h"
#include "platform/linux/base/QtExecutor.h"

#include <memory>
#include <unordered_map>

class QNetworkAccessManager;

/// HTTP by QNetworkAccessManager on its own thread. Keeps no cookies and no cache, ignores no TLS error, follows at
/// most five redirects. `done` is called on the network thread; for an exchange that is dropped before it starts, on
/// the dropping thread.
class LinuxURLSession final : public URLSession {
public:
    /// Bytes after decompression.
    static constexpr qsizetype maximumBody = qsizetype(16) * 1024 * 1024;

    explicit LinuxURLSession(QString userAgent);
    ~LinuxURLSession() override;

    void send(URLRequest request, Done done) override;

    /// Cancels pending and later exchanges.
    void stop();

private:
    class Answer;
    class Exchange;
    void begin(const URLRequest& request, std::shared_ptr<Answer> answer);

    const QString userAgent_;

    // Used on the network thread only.
    bool stopped_ = false;
    std::unique_ptr<QNetworkAccessManager> manager_; ///< Created for the first exchange.
    std::unordered_map<Exchange*, std::unique_ptr<Exchange>> exchanges_;
    ThreadExecutor thread_; ///< Last member, so that it is destroyed first.
};
