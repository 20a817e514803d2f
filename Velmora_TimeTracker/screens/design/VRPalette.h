#pragma once

#include <QColor>
#include <QString>
#include <array>
#include <vector>

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
    bool isDark = false;
    QColor surface;
    QColor textStrong;
    QColor text;
    QColor textMuted;
    QColor danger;

    static constexpr std::array<double, 3> gradientPositions = {0.0, 0.55, 1.0};

    /// The brand's colour where it serves as a text on a surface.
    const QColor& accentText() const { return isDark ? brand400 : brand600; }

    /// Every scheme, in the order of the settings screen; the first is the default.
    static const std::vector<VRPalette>& all();
    static const VRPalette& pink() { return all().front(); }
    /// Pink for an unknown id.
    static const VRPalette& byID(const QString& id);
};
