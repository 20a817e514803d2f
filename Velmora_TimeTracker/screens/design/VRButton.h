#pragma once

#include "screens/design/VR.h"

#include <QAbstractButton>

/// A button painted from the palette. Space and Enter press it; a ring shows where the keyboard is.
class VRButton : public QAbstractButton {
public:
    /// How it looks; the order is that of the table of shapes.
    enum class Look {
        gradient,   ///< The one thing to do next.
        outline,    ///< An alternative to it.
        soft,       ///< A quiet choice.
        link,       ///< A text.
        onGradient, ///< White, on a gradient card.
        chip,       ///< Small, on a gradient card.
        plain,      ///< An icon alone.
    };
    enum class Tint { accent, danger };

    /// `identifier` names the control for programs that look for it.
    VRButton(const VREnvironment& environment, Look look, const QString& text, const QString& identifier);

    void setIconName(const QString& icon);
    void setTint(Tint tint);
    /// Overrides the height of the look.
    void setHeight(int height);
    /// What assistive technology calls it, when that is not its text.
    void setSpokenName(const QString& name) { setAccessibleName(name); }

    /// The keyboard is here, and got here by the keyboard.
    bool showsFocus() const { return hasFocus() && isKeyboardFocus_; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    bool event(QEvent* event) override;

    const VREnvironment& environment() const { return environment_; }
    bool isHovered() const { return isHovered_ && isEnabled(); }

private:
    struct Shape;

    QColor ink() const;
    void paintGround(QPainter& painter, const QRectF& ground) const;
    void paintLabel(QPainter& painter) const;

    const VREnvironment& environment_;
    const Look look_;
    const Shape& shape_;
    Tint tint_ = Tint::accent;
    QString iconName_;
    int height_;
    bool isHovered_ = false;
    bool isKeyboardFocus_ = false;
};
