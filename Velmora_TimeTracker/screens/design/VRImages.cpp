#include "screens/design/VRImages.h"

#include <QFile>
#include <QPainter>
#include <QSvgRenderer>
#include <QtMath>

using namespace Qt::StringLiterals;

namespace {
QByteArray drawing(const QString& name, const QColor& colour, const QColor& ground) {
    QFile file(u":/assets/%1.svg"_s.arg(name.section(u'-', 0, 0)));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll()
        .replace("currentColor", colour.name(QColor::HexRgb).toLatin1())
        .replace("groundColor", ground.name(QColor::HexRgb).toLatin1());
}
} // namespace

QPixmap VRImages::render(const QString& name, const QColor& colour, QSize size, double pixelRatio, const QColor& ground,
                         const QRectF& part) {
    QSvgRenderer renderer(drawing(name, colour, ground));
    if (!renderer.isValid() || size.isEmpty())
        return {};
    renderer.setAspectRatioMode(Qt::KeepAspectRatio);
    const QSize pixels(qCeil(size.width() * pixelRatio), qCeil(size.height() * pixelRatio));
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setOpacity(colour.alphaF());
    const QSizeF whole(pixels.width() / part.width(), pixels.height() / part.height());
    renderer.render(&painter, QRectF({-part.x() * whole.width(), -part.y() * whole.height()}, whole));
    painter.end();
    image.setDevicePixelRatio(pixelRatio);
    return QPixmap::fromImage(std::move(image));
}

QPixmap VRImages::icon(const QString& name, const QColor& colour, int size, double pixelRatio) {
    const QString key = u"%1/%2/%3/%4"_s.arg(name, colour.name(QColor::HexArgb)).arg(size).arg(pixelRatio);
    auto found = icons_.find(key);
    if (found == icons_.end())
        found = icons_.insert(key, render(name, colour, QSize(size, size), pixelRatio));
    return *found;
}
