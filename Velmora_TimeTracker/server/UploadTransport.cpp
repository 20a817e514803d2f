#include "server/UploadTransport.h"

#include "model/Json.h"
#include "server/ExchangeLog.h"

using namespace Qt::StringLiterals;

namespace {

Task<> logOutcome(URLRequest request, URLSession::Result result) {
    ExchangeLog::logOutcome(request, result);
    co_return;
}

/// True for the page of a captive portal. Some servers label any response as HTML, so a JSON object is not a page.
bool isWebPage(const URLResponse& response) {
    return response.body.trimmed().startsWith('<') ||
           (response.header("Content-Type").toLower().contains("html") && !Json::object(response.body));
}

} // namespace

UploadTransport::UploadTransport(ServerAccess access)
    : exchange_(std::move(access), {{{"app-client", "ios"}, {"Accept", "application/json"}}, timeout, logOutcome}) {}

URLRequest UploadTransport::makeRequest(const Endpoint& endpoint, const QByteArray& contentType) const {
    URLRequest request = exchange_.request(endpoint);
    if (request.header("Authorization").isEmpty())
        throw URLError(URLError::Code::dataNotAllowed, u"Nobody is signed in."_s);
    request.setHeader("Content-Type", contentType);
    return request;
}

Task<QByteArray> UploadTransport::executeRequest(URLRequest request) const {
    const URLResponse response = co_await exchange_.send(std::move(request), Authorization::bearer);
    if (isWebPage(response))
        throw URLError(URLError::Code::other, u"A web page came instead of the server's answer."_s);
    co_return response.body;
}
