#pragma once

#include "VR.h"

#include <QPixmap>
#include <QWidget>

class QVBoxLayout;

/// A surface with rounded corners and a column of content. `glass` lies on a gradient.
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

/// A gradient card with one of our drawings at its right edge.
class VRHeroCard : public QWidget {
public:
    VRHeroCard(const VREnvironment& environment, const QString& drawing, int padding);
    QVBoxLayout& column() { return *column_; }
    /// The part of the width that the drawing takes at most, 0 to 1; it stands in the middle of the height,
    /// or hangs from the top.
    void setDrawing(double share, bool hangsFromTop = false) {
        drawingShare_ = share;
        hangsFromTop_ = hangsFromTop;
    }

protected:
    void paintEvent(QPaintEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    const QPixmap& ground();

    const VREnvironment& environment_;
    const QString drawing_;
    QVBoxLayout* const column_;
    double drawingShare_ = 0.46;
    bool hangsFromTop_ = false;
    QPixmap ground_; ///< Gradient and drawing as last painted; empty while hidden.
    QString groundPalette_;
};
