#include "screens/design/VRPalette.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

struct Row {
    const char* id;
    const char* displayName;
    std::array<QRgb, 4> brand; ///< 700, 600, 500, 400
    std::array<QRgb, 3> gradient;
    QRgb background;
    QRgb soft;
    QRgb border;
};

constexpr std::array<Row, 7> rows = {{
    {"pink",
     "Pink",
     {0xD9144E, 0xEA1657, 0xF32062, 0xFF4A72},
     {0xF32062, 0xF52D63, 0xFF625B},
     0xFCE8EE,
     0xFFF7F9,
     0xF2DDE4},
    {"purple",
     "Purple",
     {0x5B36C9, 0x6C46DB, 0x7C57E6, 0x9878F0},
     {0x7C57E6, 0x8563EA, 0xA07EF5},
     0xEFEAFB,
     0xFAF8FE,
     0xE3DAF5},
    {"orange",
     "Orange",
     {0xD45E08, 0xEA680F, 0xF97316, 0xFB923C},
     {0xF97316, 0xFA8226, 0xFCA34D},
     0xFCEDDC,
     0xFEFAF4,
     0xF4E0C9},
    {"teal",
     "Teal",
     {0x1E7D70, 0x279687, 0x2FAE9E, 0x53C5B4},
     {0x2FAE9E, 0x3BB9A7, 0x5BCBB6},
     0xE3F3EF,
     0xF4FBF9,
     0xCFE9E2},
    {"blue",
     "Blue",
     {0x2563C7, 0x2E74DE, 0x3B82F6, 0x6FA8F8},
     {0x3B82F6, 0x4E90F7, 0x6FA8F8},
     0xE1EEFB,
     0xF5FAFE,
     0xCFE2F5},
    {"black",
     "Black",
     {0x55555F, 0x83838F, 0xA6A6B2, 0xBFBFC9},
     {0x3E3E46, 0x4C4C55, 0x62626C},
     0x1B1B1F,
     0x202024,
     0x37373E},
    {"brown",
     "Brown",
     {0x57402E, 0x654A36, 0x75563F, 0x96755B},
     {0x75563F, 0x82624B, 0x9B7A60},
     0xEFE6DA,
     0xFBF7F2,
     0xE3D5C6},
}};

/// The aspect ratio of every banner drawing.
constexpr double drawingAspect = 200.0 / 180;

VRPalette palette(const Row& row) {
    const bool isDark = qstrcmp(row.id, "black") == 0;
    const bool isDefault = &row == &rows.front();
    VRPalette made;
    made.id = QString::fromLatin1(row.id);
    made.displayName = QString::fromLatin1(row.displayName);
    made.brand700 = QColor(row.brand[0]);
    made.brand600 = QColor(row.brand[1]);
    made.brand500 = QColor(row.brand[2]);
    made.brand400 = QColor(row.brand[3]);
    std::transform(row.gradient.begin(), row.gradient.end(), made.gradientStops.begin(),
                   [](QRgb colour) { return QColor(colour); });
    made.appBackground = QColor(row.background);
    made.surfaceSoft = QColor(row.soft);
    made.border = QColor(row.border);
    const QString suffix = isDefault ? QString() : '-' + made.displayName;
    made.trackerBanner = "TrackerHeroBanner" + suffix;
    made.trackerAspect = drawingAspect;
    made.trackerCharX = 0.64;
    if (isDefault)
        made.activeHeroImage = u"TrackerActiveHero"_s;
    made.loginBanner = {"LoginHeroBanner" + suffix, drawingAspect, 1, 0.58};
    made.forgotBanner = {"ForgotHeroBanner" + suffix, drawingAspect, 1, 0.58};
    made.companyBanner = {"CompanyHeroBanner" + suffix, drawingAspect, 1, 0.58};
    made.isDark = isDark;
    made.surface = QColor(isDark ? 0x26262BU : 0xFFFFFFU);
    made.textStrong = QColor(isDark ? 0xF2F2F5U : 0x181A20U);
    made.text = QColor(isDark ? 0xC2C2CAU : 0x50545CU);
    made.textMuted = QColor(isDark ? 0x8B8B94U : 0x878B93U);
    made.danger = QColor(isDark ? 0xFF6B6BU : 0xE0322FU);
    return made;
}

std::vector<VRPalette> makeAll() {
    std::vector<VRPalette> made;
    for (const Row& row : rows)
        made.push_back(palette(row));
    return made;
}

} // namespace

VRBannerSpec VRPalette::idleHero() const {
    return {trackerBanner, trackerAspect, 1, trackerCharX};
}

VRBannerSpec VRPalette::activeHero() const {
    return {activeHeroImage ? *activeHeroImage : *pink().activeHeroImage, drawingAspect, 1, 0.75, 0};
}

const std::vector<VRPalette>& VRPalette::all() {
    static const std::vector<VRPalette> palettes = makeAll();
    return palettes;
}

const VRPalette& VRPalette::byID(const QString& id) {
    const auto found = std::ranges::find(all(), id, &VRPalette::id);
    return found == all().end() ? pink() : *found;
}
