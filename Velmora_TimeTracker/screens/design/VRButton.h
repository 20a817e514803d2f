#pragma once

#include "screens/design/VR.h"

#include <QAbstractButton>

/// A button painted from the palette. Space and Enter press it; a ring marks the keyboard focus.
class VRButton : public QAbstractButton {
public:
    /// The order matches the table of shapes.
    enum class Look {
        gradient,   ///< The primary action.
        outline,    ///< A secondary action.
        soft,       ///< A minor action.
        link,       ///< Text only.
        onGradient, ///< White, on a gradient card.
        chip,       ///< Small, on a gradient card.
        plain,      ///< Icon only.
    };
    enum class Tint { accent, danger };

    /// `identifier` is the accessible description by which tests and assistive tools find the control.
    VRButton(const VREnvironment& environment, Look look, const QString& text, const QString& identifier);

    void setIconName(const QString& icon);
    void setTint(Tint tint);
    /// Overrides the height of the look.
    void setHeight(int height);
    /// The accessible name, if it differs from the text.
    void setSpokenName(const QString& name) { setAccessibleName(name); }

    /// True if the button was focused by keyboard: a ring is painted.
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
