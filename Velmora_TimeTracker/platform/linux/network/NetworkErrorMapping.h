#pragma once

#include "platform/URLSession.h"

#include <QNetworkReply>
#include <optional>

namespace NetworkErrorMapping {

/// The transport failure of a finished reply. Absent if a complete HTTP response arrived, whatever its status; Qt
/// errors that only repeat a status of 400 or more do not count.
std::optional<URLError::Code> transportFailure(QNetworkReply::NetworkError error, std::optional<int> status);

} // namespace NetworkErrorMapping
