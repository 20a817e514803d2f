#pragma once

#include "screens/design/VR.h"

#include <QPixmap>
#include <QWidget>
#include <functional>

class QVBoxLayout;

/// A surface with rounded corners and a column of content. `glass` is for a gradient below it.
class VRCard : public QWidget {
public:
    enum class Look { surface, soft, notice, glass };

    explicit VRCard(const VREnvironment& environment, Look look = Look::surface, int padding = 16);
    QVBoxLayout& column() { return *column_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void paintGround(QPainter& painter) const;

private:
    const VREnvironment& environment_;
    const Look look_;
    QVBoxLayout* const column_;
};

/// A card with an icon and a heading.
class VRSectionCard : public VRCard {
public:
    VRSectionCard(const VREnvironment& environment, const QString& icon, const QString& title);
};

/// A gradient card with a banner of the palette at its right edge.
class VRHeroCard : public QWidget {
public:
    using Banner = std::function<VRBannerSpec(const VRPalette&)>;

    /// `share` is the banner's part of the width, 0 to 1.
    VRHeroCard(const VREnvironment& environment, Banner banner, double share, int padding);
    QVBoxLayout& column() { return *column_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    const QPixmap& ground();

    const VREnvironment& environment_;
    const Banner banner_;
    const double share_;
    QVBoxLayout* const column_;
    QPixmap ground_; ///< Gradient and banner as last painted; empty while hidden.
    QString groundPalette_;
};
