#include "screens/design/VRHeaderBar.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRImages.h"
#include "screens/design/VRLabel.h"
#include "screens/design/VRPaint.h"

#include <QHBoxLayout>
#include <QPainter>

using namespace Qt::StringLiterals;

namespace {
constexpr int logoSize = 28;
constexpr int dotSize = 8;
constexpr int pillPadding = 12;
} // namespace

VRHeaderBar::VRHeaderBar(const VREnvironment& environment, bool showOpenAppButton)
    : environment_(environment)
    , status_(new VRLabel(environment, VR::Type::caption, VR::Ink::text)) {
    setFixedHeight(environment.compact ? 48 : 56);
    status_->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    status_->setAccessibleDescription(u"#headerStatus"_s);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(environment.margin() + logoSize + 8, 0, environment.margin() + pillPadding, 0);
    row->setSpacing(8);
    row->addWidget(new VRLabel(environment, VR::Type::heading, VR::Ink::strong,
                               environment.compact ? u"TimeTracker"_s : u"Velmora TimeTracker"_s));
    row->addStretch(1);
    row->addSpacing(pillPadding + dotSize);
    row->addWidget(status_);
    if (!showOpenAppButton)
        return;
    openAppButton_ = new VRButton(environment, VRButton::Look::plain, {}, u"#openMainWindow"_s);
    openAppButton_->setIconName(u"VRIconOpenWindow"_s);
    openAppButton_->setSpokenName(u"Open main window"_s);
    openAppButton_->setToolTip(u"Open main window"_s);
    row->setContentsMargins(environment.margin() + logoSize + 8, 0, environment.margin() - 8, 0);
    row->addSpacing(pillPadding - 4);
    row->addWidget(openAppButton_);
}

void VRHeaderBar::setStatus(const QString& label, const QColor& colour) {
    status_->setText(label);
    if (statusColour_ == colour)
        return;
    statusColour_ = colour;
    update();
}

void VRHeaderBar::paintEvent(QPaintEvent*) {
    const VRPalette& palette = environment_.palette();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), palette.surface);
    painter.fillRect(0, height() - 1, width(), 1, palette.border);
    painter.drawPixmap(environment_.margin(), (height() - logoSize) / 2,
                       environment_.images.icon(u"VelmoraLogoColor"_s,
                                                palette.isDark ? palette.brand700 : palette.brand500, logoSize,
                                                devicePixelRatioF()));
    const QRect words = status_->geometry();
    const QRectF pill(words.left() - pillPadding - dotSize - 6, height() / 2 - 14,
                      words.width() + 2 * pillPadding + dotSize + 6, 28);
    QColor ground = statusColour_;
    ground.setAlpha(palette.isDark ? 44 : 28);
    VRPaint::roundedRect(painter, pill, pill.height() / 2, ground);
    VRPaint::roundedRect(painter, QRectF(pill.left() + pillPadding, height() / 2.0 - dotSize / 2.0, dotSize, dotSize),
                         dotSize / 2.0, statusColour_);
}
