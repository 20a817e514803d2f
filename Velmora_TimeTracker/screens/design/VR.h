#pragma once

#include "screens/design/ThemeManager.h"

#include <QColor>
#include <QFont>
#include <QString>

class QVBoxLayout;
class QWidget;
class VRImages;

/// The tokens of the design: fixed colours, type scale, text safety and spacing. All lengths are in logical pixels, on
/// a grid of 4.
namespace VR {

inline constexpr QColor success = QColor(0x17, 0xB8, 0x3F);
inline constexpr QColor warning = QColor(0xFF, 0x6B, 0x00);
inline constexpr QColor info = QColor(0x08, 0x7D, 0xFF);
inline constexpr QColor purple = QColor(0x91, 0x49, 0xE8);

inline constexpr int cardRadius = 16;
inline constexpr int controlRadius = 12;
inline constexpr int controlHeight = 44;

enum class Type { clock, title, heading, strong, body, caption };
/// The desktop's typeface in a size of the scale.
QFont font(Type type);

/// The role of a text; the palette maps it to a colour at each painting.
enum class Ink { strong, text, muted, brand, accent, danger, good, onGradient, onGradientSoft };
QColor colour(Ink ink, const VRPalette& palette);

/// Makes external text safe to show: replaces control characters by blanks, removes marks that change the text
/// direction and cuts off an excessive length. Keeps line ends if `keepsLines`.
QString displayText(const QString& text, bool keepsLines = false);
/// The same, cut to `length` characters with an ellipsis, for a name within a sentence.
QString shortName(const QString& name, int length = 48);
/// A tooltip that shows `text` literally: Qt interprets markup in a plain one.
QString tooltip(const QString& text);

/// A vertical layout of `owner` with `margin` on all sides.
QVBoxLayout* makeColumn(QWidget* owner, int spacing, int margin = 0);
/// Hides `page` and deletes it when control returns to the event loop: the sender of the current signal may be its
/// child. Null is allowed.
void discard(QWidget* page);

} // namespace VR

/// Shared by the components of one root view; outlives them.
struct VREnvironment {
    const ThemeManager& theme;
    VRImages& images;
    /// The narrow layout of the popover.
    bool compact = false;

    const VRPalette& palette() const { return theme.palette(); }
    int margin() const { return compact ? 12 : 20; }
    /// Between the cards of a screen.
    int gap() const { return compact ? 12 : 16; }
};
