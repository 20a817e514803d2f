#pragma once

#include "screens/design/VR.h"

#include <QLabel>

/// Hours, minutes and seconds in large digits of equal width. Only changed digits are repainted.
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

    QString time_; ///< Not QLabel::text, whose change repaints the whole label.
    bool isDimmed_ = false;
};
