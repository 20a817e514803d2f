#pragma once

#include "backend/Accounts.h"
#include "backend/Faults.h"
#include "backend/Refusal.h"
#include "backend/Screenshots.h"
#include "backend/Segments.h"
#include "backend/Sessions.h"
#include "backend/Tokens.h"

#include <QJsonDocument>
#include <functional>
#include <httplib.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace backend {

/// All that the backend knows. The server's mutex guards it.
struct State {
    State(Accounts known, const QString& dataFolder, std::function<double()> clock)
        : accounts(std::move(known))
        , now(std::move(clock))
        , database(dataFolder + u"/backend.sqlite"_s)
        , screenshots(database, dataFolder + u"/screenshots"_s) {}

    Accounts accounts;
    std::function<double()> now; ///< unix seconds
    Database database;
    Tokens tokens{database};
    OneTimeCodes codes;
    Sessions sessions{database};
    Segments segments{database};
    Screenshots screenshots;
    Faults faults;

    qint64 second() const { return static_cast<qint64>(now()); }
};

/// A request with what its address says about where it came in.
struct Call {
    const httplib::Request& request;
    QString origin; ///< "http://" and the Host header: where links in replies point back to

    QString header(const char* name) const { return QString::fromStdString(request.get_header_value(name)); }
    QString parameter(const char* name) const { return QString::fromStdString(request.get_param_value(name)); }
    /// The nth group of the endpoint's pattern, from 1 on.
    QString part(std::size_t index) const { return QString::fromStdString(request.matches[index]); }
};

struct Reply {
    int status = 200;
    QByteArray body;
    std::string type = "application/json";
    httplib::Headers headers = {};

    Reply(const QJsonObject& object)
        : body(QJsonDocument(object).toJson(QJsonDocument::Compact)) {}
    Reply(QByteArray bytes, std::string contentType)
        : body(std::move(bytes))
        , type(std::move(contentType)) {}
};

/// One row of an endpoint table: the handler runs under the server's mutex and refuses by throwing a Refusal.
struct Endpoint {
    enum class Method { get, post };

    Method method;
    std::string pattern; ///< a regular expression over the whole path
    std::function<Reply(State&, const Call&)> handle;
};

/// What every API path begins with. Its one group is the company's key, empty without a company in the path.
inline const std::string apiRoot = "(?:/c/([a-z0-9-]+))?/api/v1/";

std::vector<Endpoint> signInEndpoints();
std::vector<Endpoint> trackingEndpoints();
std::vector<Endpoint> controlEndpoints();

/// The headers that every request of the JSON client carries; a Refusal 400 names the first that is wrong.
void demandJsonClientHeaders(const Call& call, const QString& appClient = u"mac"_s);

struct Caller {
    const Account& account;
    Company& company;
};

/// Who calls, by bearer token, and for which company, by path. Refusal 401 for the token, 403 for a company
/// that the account does not belong to.
Caller callerOf(State& state, const Call& call);

} // namespace backend
