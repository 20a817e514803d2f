#include "screens/gates/GateView.h"

#include "screens/design/VRLabel.h"

#include <QVBoxLayout>

GateView::GateView(const VREnvironment& environment, const QString& title)
    : VRScrollView(environment) {
    const int side = environment.compact ? 16 : 40;
    const int above = environment.compact ? 8 : 20;
    column().setContentsMargins(side, above, side, above);
    column().setSpacing(environment.compact ? 6 : 12);
    column().addStretch(1);
    auto* heading = new VRLabel(environment, VR::Type::title, VR::Ink::strong, title, 2);
    heading->setAlignment(Qt::AlignCenter);
    column().addWidget(heading);
    column().addStretch(1);
}

VRLabel* GateView::addText(const QString& text, const QString& identifier) {
    const VR::Type type = environment().compact ? VR::Type::caption : VR::Type::body;
    auto* label = new VRLabel(environment(), type, VR::Ink::text, text, 5);
    label->setAlignment(Qt::AlignCenter);
    label->setAccessibleDescription(identifier);
    column().insertWidget(column().count() - 1, label);
    return label;
}

void GateView::addCentred(QWidget* widget) {
    column().insertSpacing(column().count() - 1, 4);
    column().insertWidget(column().count() - 1, widget, 0, Qt::AlignHCenter);
}

void GateView::putOnTop(QWidget* widget) {
    column().insertWidget(1, widget, 0, Qt::AlignHCenter);
}
