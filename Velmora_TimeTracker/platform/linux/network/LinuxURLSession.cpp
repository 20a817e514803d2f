#include "platform/linux/network/LinuxURLSession.h"

#include "platform/linux/network/NetworkErrorMapping.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

/// Calls `done` exactly once: with "cancelled" if it is destroyed before.
class LinuxURLSession::Answer {
public:
    explicit Answer(Done done)
        : done_(std::move(done)) {}
    ~Answer() { give(URLError(URLError::Code::cancelled, "The exchange was cancelled")); }
    Answer(const Answer&) = delete;
    Answer& operator=(const Answer&) = delete;

    void give(Result result) {
        if (const Done done = std::exchange(done_, nullptr))
            done(std::move(result));
    }

private:
    Done done_;
};

/// One exchange from sending to completion.
class LinuxURLSession::Exchange {
public:
    Exchange(LinuxURLSession& session, QNetworkReply* reply, Seconds deadline, std::shared_ptr<Answer> answer)
        : session_(session)
        , reply_(reply)
        , operation_(reply->operation())
        , answer_(std::move(answer)) {
        reply->setReadBufferSize(chunk);
        QObject::connect(reply, &QNetworkReply::readyRead, &listener_, [this] { read(); });
        QObject::connect(reply, &QNetworkReply::finished, &listener_, [this] {
            if (read())
                end(result());
        });
        QObject::connect(reply, &QNetworkReply::redirected, &listener_, [this] { refuseOtherMethod(); });
        deadline_ = session.thread_.after(
            deadline, [this] { end(URLError(URLError::Code::timedOut, "The exchange took too long")); });
    }

private:
    static constexpr qint64 chunk = 64 * 1024;

    /// Closes the connection too. The reply uses its own signal connections for that, so they are kept.
    struct Drop {
        void operator()(QNetworkReply* reply) const {
            reply->abort();
            reply->deleteLater();
        }
    };

    /// Reads the received bytes in pieces, since compressed data expands while it is read. False if that ended the
    /// exchange.
    bool read() {
        for (QByteArray piece; reply_->isOpen() && !(piece = reply_->read(chunk)).isEmpty(); body_ += piece) {
            if (body_.size() + piece.size() > maximumBody) {
                end(URLError(URLError::Code::other, "The response is too large"));
                return false;
            }
        }
        return true;
    }

    /// Qt stays within the origin but follows some redirects of a POST with a GET, whose response is not that of the
    /// POST.
    void refuseOtherMethod() {
        if (reply_->operation() != operation_)
            end(URLError(URLError::Code::other, "The redirect would change the method"));
    }

    Result result() const {
        URLResponse response;
        const QVariant status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (status.isValid())
            response.statusCode = status.toInt();
        if (auto failure = NetworkErrorMapping::transportFailure(reply_->error(), response.statusCode)) {
            // A reply with connected signals is aborted only by its timeout.
            if (*failure == URLError::Code::cancelled)
                return URLError(URLError::Code::timedOut, "The request timed out");
            return URLError(*failure, reply_->errorString());
        }
        for (const auto& [name, value] : reply_->rawHeaderPairs())
            response.headers.emplace_back(name, value);
        response.body = body_;
        return response;
    }

    /// Destroys this exchange.
    void end(Result result) {
        const std::shared_ptr<Answer> answer = std::move(answer_);
        session_.exchanges_.erase(this);
        answer->give(std::move(result));
    }

    LinuxURLSession& session_;
    std::unique_ptr<QNetworkReply, Drop> reply_;
    const QNetworkAccessManager::Operation operation_; ///< The operation of the original request.
    QObject listener_;                                 ///< Destroyed before reply_, which disconnects its signals.
    std::shared_ptr<Answer> answer_;
    std::unique_ptr<Executor::Timer> deadline_;
    QByteArray body_;
};

namespace {

QNetworkRequest networkRequest(const URLRequest& request, const QString& userAgent) {
    QNetworkRequest result(request.url);
    result.setHeader(QNetworkRequest::UserAgentHeader, userAgent);
    for (const auto& [name, value] : request.headers)
        result.setRawHeader(name, value);
    result.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::SameOriginRedirectPolicy);
    result.setMaximumRedirectsAllowed(5);
    result.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::Http2AllowedAttribute,
                        false); // no benefit for a few exchanges a minute
    constexpr double longest = std::numeric_limits<int>::max();
    result.setTransferTimeout(static_cast<int>(std::clamp(std::ceil(request.timeout * 1000), 1.0, longest)));
    return result;
}

QNetworkReply* start(QNetworkAccessManager& manager, const URLRequest& request, const QString& userAgent) {
    // Qt keeps the method of its named operations at a redirect, but not of a custom one.
    if (request.method == "GET" && request.body.isEmpty())
        return manager.get(networkRequest(request, userAgent));
    if (request.method == "POST")
        return manager.post(networkRequest(request, userAgent), request.body);
    return manager.sendCustomRequest(networkRequest(request, userAgent), request.method, request.body);
}

} // namespace

LinuxURLSession::LinuxURLSession(QString userAgent)
    : userAgent_(std::move(userAgent))
    , thread_("com.velmora.timetracker.network") {}

LinuxURLSession::~LinuxURLSession() {
    stop();
}

void LinuxURLSession::send(URLRequest request, Done done) {
    auto answer = std::make_shared<Answer>(std::move(done));
    thread_.post([this, request = std::move(request), answer = std::move(answer)] { begin(request, answer); });
}

void LinuxURLSession::begin(const URLRequest& request, std::shared_ptr<Answer> answer) {
    if (stopped_)
        return;
    const QString scheme = request.url.scheme();
    if ((scheme != "http" && scheme != "https") || request.url.host().isEmpty())
        return answer->give(URLError(URLError::Code::other, "Unsupported URL"));
    if (!manager_)
        manager_ = std::make_unique<QNetworkAccessManager>();
    constexpr double deadlineInTimeouts = 10;
    auto exchange = std::make_unique<Exchange>(*this, start(*manager_, request, userAgent_),
                                               request.timeout * deadlineInTimeouts, std::move(answer));
    exchanges_.emplace(exchange.get(), std::move(exchange));
}

void LinuxURLSession::stop() {
    thread_.sync([this] {
        stopped_ = true;
        exchanges_.clear();
        manager_.reset();
    });
    thread_.stop();
}
