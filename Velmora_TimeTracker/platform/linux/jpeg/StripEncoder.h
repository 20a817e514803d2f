#pragma once

#include <QByteArray>
#include <QSize>
#include <cstdint>
#include <functional>
#include <optional>

/// Returns the pixels of `count` rows from row `first` on: blue, green, red and an unused byte each, rows without
/// padding, valid until the next call. Null aborts the encoding. Rows are requested from top to bottom in strips that
/// overlap by a few rows.
using ReadRows = std::function<const uint8_t*(int first, int count)>;

/// A picture of size `source` scaled to `target` and encoded as JPEG of `quality` (0 to 1), a strip at a time: only
/// some dozens of rows and the JPEG are in memory. Absent if rows could not be read, or if a side of the target is
/// below 1 or above 65500 pixels, the limit of the format.
std::optional<QByteArray> encodeStrips(QSize source, QSize target, double quality, const ReadRows& readRows);
