#include "screens/design/VR.h"

#include <QGuiApplication>
#include <QVBoxLayout>
#include <QWidget>
#include <optional>

using namespace Qt::StringLiterals;

namespace {
/// Longer than any label can show.
constexpr qsizetype longestText = 600;

constexpr bool joinsLetters(QChar c) {
    return c == QChar(0x200C) || c == QChar(0x200D);
}

/// The display form of a character of external text: itself, a blank, or nothing for invisible marks that change the
/// text direction.
std::optional<QChar> shownAs(QChar c) {
    switch (c.category()) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return QChar(u' ');
    case QChar::Other_Format:
        return joinsLetters(c) ? std::optional(c) : std::nullopt;
    default:
        return c;
    }
}
} // namespace

QFont VR::font(Type type) {
    QFont font = QGuiApplication::font();
    const auto set = [&font](int pixels, QFont::Weight weight) {
        font.setPixelSize(pixels);
        font.setWeight(weight);
    };
    switch (type) {
    case Type::clock:
        set(44, QFont::Bold);
        break;
    case Type::title:
        set(20, QFont::Bold);
        break;
    case Type::heading:
        set(14, QFont::Bold);
        break;
    case Type::strong:
        set(13, QFont::DemiBold);
        break;
    case Type::body:
        set(13, QFont::Normal);
        break;
    case Type::caption:
        set(12, QFont::Normal);
        break;
    }
    return font;
}

QColor VR::colour(Ink ink, const VRPalette& palette) {
    switch (ink) {
    case Ink::strong:
        return palette.textStrong;
    case Ink::text:
        return palette.text;
    case Ink::muted:
        return palette.textMuted;
    case Ink::brand:
        return palette.brand500;
    case Ink::accent:
        return palette.accentText();
    case Ink::danger:
        return palette.danger;
    case Ink::good:
        return success;
    case Ink::onGradient:
        return Qt::white;
    case Ink::onGradientSoft:
        return QColor(255, 255, 255, 224);
    }
    return palette.text;
}

QString VR::displayText(const QString& text, bool keepsLines) {
    QString shown;
    shown.reserve(qMin(text.size(), longestText));
    for (const QChar c : text) {
        if (shown.size() >= longestText)
            break;
        if (const auto visible = keepsLines && c == u'\n' ? std::optional(c) : shownAs(c))
            shown += *visible;
    }
    if (!shown.isEmpty() && shown.back().isHighSurrogate())
        shown.chop(1);
    return keepsLines ? shown : shown.simplified();
}

QString VR::shortName(const QString& name, int length) {
    const QString shown = displayText(name);
    return shown.size() <= length ? shown : shown.left(length - 1).trimmed() + QChar(u'…');
}

QString VR::tooltip(const QString& text) {
    return u"<span>%1</span>"_s.arg(shortName(text, 300).toHtmlEscaped());
}

QVBoxLayout* VR::makeColumn(QWidget* owner, int spacing, int margin) {
    auto* column = new QVBoxLayout(owner);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(spacing);
    return column;
}

void VR::discard(QWidget* page) {
    if (!page)
        return;
    page->hide();
    page->deleteLater();
}
