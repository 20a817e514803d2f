#pragma once

#include <QColor>
#include <QHash>
#include <QPixmap>
#include <QRectF>
#include <QSize>
#include <QString>

/// Renders the program's drawings and caches icons per colour and size. A drawing is an SVG file with the placeholders
/// `currentColor` for its colour and `groundColor` for the background in its holes. All palettes share a drawing: its
/// file name is the part of the image name before a hyphen.
class VRImages {
public:
    /// A square icon of `size` logical pixels. Empty for an unknown name.
    QPixmap icon(const QString& name, const QColor& colour, int size, double pixelRatio);

    /// A drawing fitted into `size` logical pixels; not cached. `part` selects a part of it, in fractions of its width
    /// and height.
    static QPixmap render(const QString& name, const QColor& colour, QSize size, double pixelRatio,
                          const QColor& ground = Qt::white, const QRectF& part = {0, 0, 1, 1});

    /// Clears the cache, for instance after a change of palette.
    void clear() { icons_.clear(); }

private:
    QHash<QString, QPixmap> icons_;
};
