#include "screens/design/VRScrollView.h"

#include "screens/design/VRPaint.h"

#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionSlider>
#include <QVBoxLayout>

namespace {
class ThinBar : public QScrollBar {
public:
    explicit ThinBar(const VREnvironment& environment)
        : environment_(environment) {
        setFixedWidth(8);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillRect(rect(), environment_.palette().appBackground);
        QStyleOptionSlider option;
        initStyleOption(&option);
        const QRectF slider = style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider, this);
        QColor ink = environment_.palette().textMuted;
        ink.setAlpha(isSliderDown() ? 200 : 120);
        VRPaint::roundedRect(painter, slider.adjusted(2, 2, -2, -2), 2, ink);
    }

private:
    const VREnvironment& environment_;
};
} // namespace

VRScrollView::VRScrollView(const VREnvironment& environment)
    : environment_(environment) {
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBar(new ThinBar(environment));
    setFocusPolicy(Qt::NoFocus);
    auto* content = new QWidget;
    column_ = VR::makeColumn(content, environment.gap(), environment.margin());
    setWidget(content);
    content->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
}
