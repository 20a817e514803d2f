#include "screens/design/VRCard.h"

#include "screens/design/VRHeroBannerCrop.h"
#include "screens/design/VRIconView.h"
#include "screens/design/VRImages.h"
#include "screens/design/VRLabel.h"
#include "screens/design/VRPaint.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace {
constexpr double heroRadius = 20;
constexpr int shadowRoom = 3;

QVBoxLayout* makeColumn(QWidget* owner, int padding, int below) {
    auto* column = VR::makeColumn(owner, 8, padding);
    column->setContentsMargins(padding, padding, padding, padding + below);
    return column;
}
} // namespace

VRCard::VRCard(const VREnvironment& environment, Look look, int padding)
    : environment_(environment)
    , look_(look)
    , column_(makeColumn(this, environment.compact ? padding - 4 : padding, look == Look::surface ? shadowRoom : 0)) {}

void VRCard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    paintGround(painter);
}

void VRCard::paintGround(QPainter& painter) const {
    const VRPalette& palette = environment_.palette();
    switch (look_) {
    case Look::surface:
        VRPaint::card(painter, QRectF(rect()).adjusted(0, 0, 0, -shadowRoom), VR::cardRadius, palette);
        break;
    case Look::soft:
        VRPaint::roundedRect(painter, rect(), VR::controlRadius, palette.surfaceSoft, palette.border);
        break;
    case Look::glass:
        VRPaint::roundedRect(painter, rect(), qMin(VR::controlRadius, height() / 2), QColor(255, 255, 255, 38));
        break;
    case Look::notice:
        QColor tint = VR::warning;
        tint.setAlpha(palette.isDark ? 36 : 24);
        VRPaint::roundedRect(painter, rect(), VR::cardRadius, palette.surface);
        VRPaint::roundedRect(painter, rect(), VR::cardRadius, tint, QColor(255, 107, 0, 110));
        break;
    }
}

VRSectionCard::VRSectionCard(const VREnvironment& environment, const QString& icon, const QString& title)
    : VRCard(environment) {
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    row->addWidget(new VRIconView(environment, icon, 18, VR::Ink::accent));
    row->addWidget(new VRLabel(environment, VR::Type::heading, VR::Ink::strong, title), 1);
    column().addLayout(row);
}

VRHeroCard::VRHeroCard(const VREnvironment& environment, Banner banner, double share, int padding)
    : environment_(environment)
    , banner_(std::move(banner))
    , share_(share)
    , column_(makeColumn(this, padding, 0)) {}

const QPixmap& VRHeroCard::ground() {
    const VRPalette& palette = environment_.palette();
    const QSize pixels = size() * devicePixelRatioF();
    if (ground_.size() == pixels && groundPalette_ == palette.id)
        return ground_;
    groundPalette_ = palette.id;
    ground_ = QPixmap(pixels);
    ground_.setDevicePixelRatio(devicePixelRatioF());
    ground_.fill(Qt::transparent);
    QPainter painter(&ground_);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath outline;
    outline.addRoundedRect(QRectF(rect()), heroRadius, heroRadius);
    painter.setClipPath(outline);
    painter.fillPath(outline, VRPaint::gradient(palette, rect()));
    // Darkens the left side, so that text is readable on the lighter palettes.
    QLinearGradient veil(0, 0, width() * 0.9, 0);
    veil.setColorAt(0, QColor(0, 0, 0, palette.isDark ? 0 : 34));
    veil.setColorAt(1, Qt::transparent);
    painter.fillPath(outline, veil);
    const VRBannerSpec banner = banner_(palette);
    // Aligned to the right edge; cropped only if the card is too low.
    const double share = width() * share_;
    const QSize room = QSizeF(share, qMin(share / banner.aspect, double(height()))).toSize();
    painter.drawPixmap(width() - room.width(), qRound((height() - room.height()) * banner.topBias),
                       VRImages::render(banner.imageName, Qt::white, room, devicePixelRatioF(),
                                        palette.gradientStops[0], VRHeroBannerCrop::visiblePart(banner, room)));
    return ground_;
}

void VRHeroCard::paintEvent(QPaintEvent*) {
    QPainter(this).drawPixmap(0, 0, ground());
}

void VRHeroCard::hideEvent(QHideEvent*) {
    ground_ = QPixmap();
}
