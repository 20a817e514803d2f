#pragma once

#include <QByteArray>
#include <QSize>
#include <cstdint>
#include <functional>
#include <optional>

/// Gives the pixels of `count` rows from row `first` on: blue, green, red and an unused byte each, rows
/// without padding, valid until the next call. Null ends the encoding. Rows are asked for from top to bottom
/// in strips that overlap by a few rows.
using ReadRows = std::function<const uint8_t*(int first, int count)>;

/// A picture of size `source` scaled to `target` and encoded as JPEG of `quality` (0 to 1), a strip at a
/// time: what is held in memory are some dozens of rows and the JPEG itself. Absent when rows could not be
/// read, or when a side of the target is below 1 or above the 65500 pixels of the format.
std::optional<QByteArray> encodeStrips(QSize source, QSize target, double quality, const ReadRows& readRows);
