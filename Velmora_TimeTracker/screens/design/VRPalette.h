#pragma once

#include <QColor>
#include <QString>
#include <array>
#include <optional>
#include <vector>

/// A picture that is wider or higher than its place, and what of it must be seen.
struct VRBannerSpec {
    QString imageName;
    double aspect = 1;        ///< The image's width by its height.
    double window = 1;        ///< The share of the width that is shown at most, above 0 to 1.
    double charCenterX = 0.5; ///< Where in the width the figure stands, 0 to 1.
    /// Where the image stands in a higher place, and where it is cut in a lower one: 0 keeps its top at the
    /// top, 1 its bottom at the bottom.
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
    QString trackerBanner; ///< An asset's name, as are those of the banners.
    double trackerAspect = 1;
    double trackerCharX = 0.5;
    std::optional<QString> activeHeroImage;
    VRBannerSpec loginBanner;
    VRBannerSpec forgotBanner;
    VRBannerSpec companyBanner;
    bool idleHeroTextLight = true; ///< The text on the idle tracker's banner is white.
    bool isDark = false;
    QColor surface;
    QColor textStrong;
    QColor text;
    QColor textMuted;
    QColor danger;

    static constexpr std::array<double, 3> gradientPositions = {0.0, 0.55, 1.0};

    /// The brand's colour where it serves as a text on a surface.
    const QColor& accentText() const { return isDark ? brand400 : brand600; }

    VRBannerSpec idleHero() const;
    /// The default scheme's picture where there is none of its own.
    VRBannerSpec activeHero() const;

    /// Every scheme, in the order of the settings screen; the first is the default.
    static const std::vector<VRPalette>& all();
    static const VRPalette& pink() { return all().front(); }
    /// Pink for an unknown id.
    static const VRPalette& byID(const QString& id);
};
