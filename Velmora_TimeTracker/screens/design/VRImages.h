#pragma once

#include <QColor>
#include <QHash>
#include <QPixmap>
#include <QRectF>
#include <QSize>
#include <QString>

/// Our drawings, rendered once for a colour and size and kept: painting one costs no more than a copy.
/// A drawing is an SVG file in which `currentColor` stands for the wanted colour, and `groundColor` for what
/// shows through holes in it. One drawing serves all palettes: of a name with a hyphen, what stands before it
/// is the drawing's.
class VRImages {
public:
    /// A square icon of `size` logical pixels. Empty for an unknown name.
    QPixmap icon(const QString& name, const QColor& colour, int size, double pixelRatio);

    /// A drawing of any shape fitted into `size` logical pixels; not kept here. Of the drawing that fills those,
    /// `part` can be taken alone, in shares of its width and height.
    static QPixmap render(const QString& name, const QColor& colour, QSize size, double pixelRatio,
                          const QColor& ground = Qt::white, const QRectF& part = {0, 0, 1, 1});

    /// Forgets every picture, for instance when the colours have changed.
    void clear() { icons_.clear(); }

private:
    QHash<QString, QPixmap> icons_;
};
