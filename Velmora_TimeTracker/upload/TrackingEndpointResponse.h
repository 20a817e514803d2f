#pragma once

#include "model/ServerTodayTotal.h"

#include <QByteArray>
#include <optional>

/// The reply of the tracking endpoints; every member may be missing. Pure; any thread.
namespace TrackingEndpointResponse {
/// Empty, or a JSON object: anything else did not come from the server.
bool isOfToldShape(const QByteArray& responseData);
/// Absent when the reply does not decode, or carries no total with its date.
std::optional<ServerTodayTotal> serverTodayTotal(const QByteArray& responseData);
} // namespace TrackingEndpointResponse
