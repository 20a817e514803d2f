#pragma once

#include "model/SegmentUtils.h"
#include "storage/SQLiteStore.h"

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

/// The bodies of the segment batch. Pure; any thread.
namespace SegmentBatch {

/// `timezoneIdentifier` is used for rows without a zone.
QByteArray build(const std::vector<SQLiteStore::ActivitySegmentRow>& rows, const QString& deviceId,
                 const QString& timezoneIdentifier);

/// Positions in the sent array that the server accepted; absent if the reply is invalid.
std::optional<std::vector<qint64>> acceptedPositions(const QByteArray& responseData);

/// The payload of a batch task: the segment that was open when it was queued. Absent if it is invalid.
QByteArray openSegmentPayload(const SegmentUtils::DateAndNumber& openSegment);
std::optional<SegmentUtils::DateAndNumber> openSegment(const std::optional<QByteArray>& payload);

} // namespace SegmentBatch
