#pragma once

#include <QByteArrayView>
#include <QSize>
#include <optional>

namespace backend {

/// The picture's size as its frame header tells it. Absent unless the bytes begin and end as a JPEG file and
/// hold a frame header with a width and a height before the first scan.
std::optional<QSize> jpegSize(QByteArrayView bytes);

} // namespace backend
