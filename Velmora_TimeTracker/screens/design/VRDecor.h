#pragma once

#include "screens/design/VR.h"

#include <QLabel>
#include <QVariantAnimation>
#include <QWidget>

/// An icon that is no control.
class VRIconView : public QWidget {
public:
    VRIconView(const VREnvironment& environment, const QString& icon, int size, VR::Ink ink);
    void setIcon(const QString& icon, VR::Ink ink);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const VREnvironment& environment_;
    QString icon_;
    VR::Ink ink_;
};

/// An icon within a soft disc.
class VRIconCircle : public QWidget {
public:
    VRIconCircle(const VREnvironment& environment, const QString& icon, int diameter);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const VREnvironment& environment_;
    const QString icon_;
};

/// A share of a whole, 0 to 1, on a gradient card.
class VRProgressBar : public QWidget {
public:
    explicit VRProgressBar(int height = 8);
    void setValue(double value);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double value_ = 0;
};

/// Hours, minutes and seconds in large figures of one width, of which only those are painted anew that
/// changed.
class VRClockLabel : public QLabel {
public:
    explicit VRClockLabel(int pixelSize);
    void setTime(const QString& time);
    void setDimmed(bool dimmed);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int advance(QChar c) const;
    QRect cell(qsizetype index) const;

    QString time_; ///< Not the label's own text, whose every change paints all of it.
    bool isDimmed_ = false;
};

/// A small ring that turns while it is visible.
class VRSpinner : public QWidget {
public:
    VRSpinner(const VREnvironment& environment, int diameter);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    const VREnvironment& environment_;
    QVariantAnimation turning_;
};
