#pragma once

#include "model/SegmentUtils.h"
#include "storage/SQLiteStore.h"

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

/// The wire forms of the segment batch. Pure; any thread.
namespace SegmentBatch {

/// `timezoneIdentifier` stands in for the zone of rows that have none.
QByteArray build(const std::vector<SQLiteStore::ActivitySegmentRow>& rows, const QString& deviceId,
                 const QString& timezoneIdentifier);

/// Positions in the sent array that the server accepted; absent when the reply does not tell.
std::optional<std::vector<qint64>> acceptedPositions(const QByteArray& responseData);

/// A task's own parameters: the segment that was open when it was made. Absent when they do not read.
QByteArray openSegmentPayload(const SegmentUtils::DateAndNumber& openSegment);
std::optional<SegmentUtils::DateAndNumber> openSegment(const std::optional<QByteArray>& payload);

} // namespace SegmentBatch
