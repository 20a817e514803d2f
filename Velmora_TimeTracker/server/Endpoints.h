#pragma once

#include <QByteArray>
#include <QString>

/// What a 401 means to an endpoint, and whether its requests carry the access token.
enum class Authorization {
    none,                 ///< No token; a 401 refuses the request itself.
    bearer,               ///< A 401 leads to one refresh and one repeat.
    bearerWithoutRefresh, ///< A 401 is final.
};

/// One operation of the backend.
struct Endpoint {
    QString path; ///< Relative to the API root, no leading slash; may carry a query.
    QByteArray method = "POST";
    Authorization authorization = Authorization::bearer;
};

/// All operations of the backend that the program uses.
namespace Endpoints {

using namespace Qt::StringLiterals;

inline const Endpoint singleLogin{u"authentication/singleLogin"_s, "POST", Authorization::none};
inline const Endpoint generateOtp{u"authentication/generateOtp"_s, "POST", Authorization::none};
inline const Endpoint passwordRecovery{u"authentication/password/recovery"_s, "POST", Authorization::none};
inline const Endpoint refresh{u"authentication/refresh"_s, "POST", Authorization::none};
inline const Endpoint logout{u"authentication/logout"_s, "POST", Authorization::bearerWithoutRefresh};
inline const Endpoint config{u"hr/timetracker/employees/config"_s, "GET", Authorization::bearer};
inline const Endpoint startSession{u"hr/timetracker/employees/sessions/start"_s, "POST", Authorization::bearer};
inline const Endpoint heartbeat{u"hr/timetracker/employees/sessions/heartbeat"_s, "POST", Authorization::bearer};
inline const Endpoint segmentBatch{u"hr/timetracker/employees/segments/batch"_s, "POST", Authorization::bearer};

/// `sessionText` is the session's id as `uuidText` writes it.
inline Endpoint screenshots(const QString& sessionText) {
    return {u"hr/timetracker/employees/sessions/"_s + sessionText + u"/screenshots"_s, "POST", Authorization::bearer};
}

} // namespace Endpoints
