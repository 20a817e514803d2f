#pragma once

#include "platform/URLSession.h"

#include <QNetworkReply>
#include <optional>

namespace NetworkErrorMapping {

/// What a finished reply means. Absent: an HTTP response arrived whole, whatever its status. Errors that only
/// repeat a status of 400 or more are no failures of the transport.
std::optional<URLError::Code> transportFailure(QNetworkReply::NetworkError error, std::optional<int> status);

} // namespace NetworkErrorMapping
