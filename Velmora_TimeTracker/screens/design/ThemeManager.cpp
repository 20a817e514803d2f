#include "screens/design/ThemeManager.h"

#include "platform/PreferenceStore.h"

#include <QApplication>
#include <QPalette>

using namespace Qt::StringLiterals;

namespace {
const QString key = u"selectedColorPalette"_s;

QPalette applicationColours(const VRPalette& from) {
    QPalette colours;
    colours.setColor(QPalette::Window, from.appBackground);
    colours.setColor(QPalette::WindowText, from.textStrong);
    colours.setColor(QPalette::Base, from.surface);
    colours.setColor(QPalette::AlternateBase, from.surfaceSoft);
    colours.setColor(QPalette::Text, from.textStrong);
    colours.setColor(QPalette::PlaceholderText, from.textMuted);
    colours.setColor(QPalette::Button, from.surface);
    colours.setColor(QPalette::ButtonText, from.textStrong);
    colours.setColor(QPalette::BrightText, from.danger);
    colours.setColor(QPalette::ToolTipBase, from.surface);
    colours.setColor(QPalette::ToolTipText, from.textStrong);
    colours.setColor(QPalette::Highlight, from.isDark ? from.brand700 : from.brand500);
    colours.setColor(QPalette::HighlightedText, Qt::white);
    colours.setColor(QPalette::Link, from.accentText());
    colours.setColor(QPalette::Light, from.surfaceSoft);
    colours.setColor(QPalette::Midlight, from.surfaceSoft);
    colours.setColor(QPalette::Mid, from.border);
    colours.setColor(QPalette::Dark, from.border.darker(120));
    colours.setColor(QPalette::Shadow, from.border.darker(160));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        colours.setColor(QPalette::Disabled, role, from.textMuted);
    return colours;
}
} // namespace

ThemeManager::ThemeManager(PreferenceStore& preferences)
    : preferences_(preferences)
    , palette_(&VRPalette::byID(preferences.string(key).value_or(QString()))) {
    applyAppearance();
}

void ThemeManager::select(const VRPalette& palette) {
    preferences_.set(key, palette.id);
    palette_ = &VRPalette::byID(palette.id);
    applyAppearance();
    Q_EMIT paletteChanged();
}

void ThemeManager::applyAppearance() {
    QApplication::setPalette(applicationColours(*palette_));
}
