#include "server/APIClient.h"

#include "server/BackendSnackbarReporter.h"
#include "server/ExchangeLog.h"

APIClient::APIClient(ServerAccess access, Executor& worker, Executor& main)
    : exchange_(std::move(access), profile())
    , worker_(worker)
    , main_(main) {}

ClientProfile APIClient::profile() {
    return {
        {{"Content-Type", "application/json"}, {"Accept", "application/json"}, {"app-client", "mac"}, {"X-App", "hr"}},
        timeout,
        [this](URLRequest request, URLSession::Result result) {
            return report(std::move(request), std::move(result));
        }};
}

Task<QByteArray> APIClient::request(APIRequest request) {
    return runOn(worker_, [this, request = std::move(request)] { return performRequest(request); });
}

Task<QByteArray> APIClient::performRequest(APIRequest request) {
    try {
        URLRequest sent = exchange_.request(request.endpoint);
        sent.body = request.body;
        for (const auto& [name, value] : request.extraHeaders)
            sent.setHeader(name, value);
        const URLResponse response = co_await exchange_.send(sent, request.endpoint.authorization);
        co_return response.body;
    } catch (const NotRefreshed&) {
        throw APIError::unauthorized();
    } catch (const URLError& error) {
        throw APIError::network(error);
    }
}

Task<> APIClient::report(URLRequest request, URLSession::Result result) {
    const ExchangeLog::Entry entry = ExchangeLog::entry(request, result);
    co_await resumeOn(main_);
    BackendSnackbarReporter::show(entry.title, entry.detail, entry.isError);
    co_await resumeOn(worker_);
}
