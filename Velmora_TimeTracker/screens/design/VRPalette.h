#pragma once

#include <QColor>
#include <QString>
#include <array>
#include <optional>
#include <vector>

/// A banner image and how it is cropped to its area.
struct VRBannerSpec {
    QString imageName;
    double aspect = 1;        ///< The image's width divided by its height.
    double window = 1;        ///< Largest visible fraction of the width, above 0 to 1.
    double charCenterX = 0.5; ///< Centre of the figure as a fraction of the width, 0 to 1.
    /// Vertical alignment in a taller or lower area: 0 aligns the tops, 1 the bottoms.
    double topBias = 0.5;
};

/// One colour scheme of the program.
struct VRPalette {
    QString id;
    QString displayName;
    QColor brand700;
    QColor brand600;
    QColor brand500;
    QColor brand400;
    std::array<QColor, 3> gradientStops; ///< At `gradientPositions`.
    QColor appBackground;
    QColor surfaceSoft;
    QColor border;
    QString trackerBanner; ///< Image name, as in the banners.
    double trackerAspect = 1;
    double trackerCharX = 0.5;
    std::optional<QString> activeHeroImage;
    VRBannerSpec loginBanner;
    VRBannerSpec forgotBanner;
    VRBannerSpec companyBanner;
    bool idleHeroTextLight = true; ///< True if text on the idle banner is white.
    bool isDark = false;
    QColor surface;
    QColor textStrong;
    QColor text;
    QColor textMuted;
    QColor danger;

    static constexpr std::array<double, 3> gradientPositions = {0.0, 0.55, 1.0};

    /// The brand colour for text on a surface.
    const QColor& accentText() const { return isDark ? brand400 : brand600; }

    VRBannerSpec idleHero() const;
    /// Falls back to the default scheme's image.
    VRBannerSpec activeHero() const;

    /// Every scheme, in the order of the settings screen; the first is the default.
    static const std::vector<VRPalette>& all();
    static const VRPalette& pink() { return all().front(); }
    /// Pink for an unknown id.
    static const VRPalette& byID(const QString& id);
};
