#pragma once

#include "platform/Task.h"

#include <QByteArray>
#include <QSize>
#include <QString>
#include <variant>
#include <vector>

/// One connected display. The order of a list of displays is stable while the arrangement is.
struct DisplayDescription {
    quint32 id = 0;
    QSize size;                ///< In points.
    double pixelsPerPoint = 1; ///< Native pixels of one point.

    friend bool operator==(const DisplayDescription&, const DisplayDescription&) = default;
};

/// An error raised by the picture source itself.
struct DisplayError {
    QString description;
    bool isDenial = true; ///< Counts as a lost permission. False when the next attempt may succeed.
};

/// A picture that was taken, scaled and encoded.
struct Picture {
    QByteArray jpeg;
    QSize size; ///< In pixels.
};

/// The picture was taken but could not be encoded, or its display changed meanwhile; proves nothing about the
/// permission.
struct EncodingFailed {};

using PictureResult = std::variant<Picture, EncodingFailed, DisplayError>;

/// Pictures of the displays. Called from background threads only; calls do not overlap.
class DisplaySource {
public:
    virtual ~DisplaySource() = default;

    virtual std::variant<std::vector<DisplayDescription>, DisplayError> displays() = 0;

    /// One picture of a display without the cursor, scaled to `pixelSize`, as JPEG of `quality` (0 to 1). It is scaled
    /// and encoded while it streams through memory; the whole frame is never held uncompressed.
    /// Starts at once and resumes on the calling executor.
    virtual Task<PictureResult> picture(DisplayDescription display, QSize pixelSize, double quality) = 0;
};
