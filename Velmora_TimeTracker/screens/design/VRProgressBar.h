#pragma once

#include <QWidget>

/// A bar for a fraction of 0 to 1, on a gradient card.
class VRProgressBar : public QWidget {
public:
    explicit VRProgressBar(int height = 8);
    void setValue(double value);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double value_ = 0;
};
