#pragma once

#include "screens/design/VR.h"

#include <QLabel>

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
