#pragma once

#include "platform/Date.h"

#include <QByteArray>
#include <QSize>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
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

/// Uncompressed pixels, four bytes each in the order blue, green, red, unused; rows without padding.
struct RawImage {
    QSize size;
    QByteArray bgrx;
};

/// What a stream delivers now and then.
struct StreamSample {
    bool isScreen = true;           ///< False for other kinds of output, which are ignored.
    std::optional<int> frameStatus; ///< 0 means a complete frame; absent means unknown, that is, incomplete.
    std::optional<RawImage> image;
};

/// A running stream of one display's frames, for sources that cannot take single pictures.
class DisplayStream {
public:
    using Handler = std::function<void(StreamSample)>;
    virtual ~DisplayStream() = default;
    /// Starts delivering to `handler`, on the serial queue "com.velmora.timetracker.screencapture.frame".
    virtual std::optional<DisplayError> start(Handler handler) = 0;
    /// No handler runs after it returned.
    virtual void stop() = 0;
};

/// Pictures of the displays. Called from background threads only; calls do not overlap.
class DisplaySource {
public:
    virtual ~DisplaySource() = default;

    virtual std::variant<std::vector<DisplayDescription>, DisplayError> displays() = 0;

    /// One picture of a display without the cursor, scaled to `pixelSize`, as JPEG of `quality` (0 to 1). It is scaled
    /// and encoded while it streams through memory; the whole frame is never held uncompressed.
    virtual PictureResult picture(const DisplayDescription& display, QSize pixelSize, double quality) = 0;

    /// True when pictures come from a stream (`makeStream`, `encode`) and not from `picture`.
    virtual bool deliversStreams() const { return false; }
    virtual std::unique_ptr<DisplayStream> makeStream(const DisplayDescription&, QSize) { return nullptr; }
    virtual std::optional<QByteArray> encode(const RawImage&, double /*quality*/) { return std::nullopt; }
};
