#pragma once

#include "platform/Task.h"

#include <QByteArray>
#include <QSize>
#include <QString>
#include <variant>
#include <vector>

/// One connected display. The order of the displays is stable while their arrangement does not change.
struct DisplayDescription {
    quint32 id = 0;
    QSize size;                ///< In points.
    double pixelsPerPoint = 1; ///< Native pixels of one point.

    friend bool operator==(const DisplayDescription&, const DisplayDescription&) = default;
};

/// An error of the picture source.
struct DisplayError {
    QString description;
    bool isDenial = true; ///< True if it counts as a lost permission; false if the next attempt may succeed.
};

/// A picture that was taken, scaled and encoded.
struct Picture {
    QByteArray jpeg;
    QSize size; ///< In pixels.
};

/// The picture could not be encoded, or its display changed meanwhile. Does not count as a lost permission.
struct EncodingFailed {};

using PictureResult = std::variant<Picture, EncodingFailed, DisplayError>;

/// Takes pictures of the displays. Background threads only; calls do not overlap.
class DisplaySource {
public:
    virtual ~DisplaySource() = default;

    virtual std::variant<std::vector<DisplayDescription>, DisplayError> displays() = 0;

    /// One picture of a display without the cursor, scaled to `pixelSize`, as JPEG of `quality` (0 to 1). Scales and
    /// encodes it in strips; the uncompressed frame is never held as a whole. Starts at once and resumes on the
    /// calling executor.
    virtual Task<PictureResult> picture(DisplayDescription display, QSize pixelSize, double quality) = 0;
};
