#include "shell/window/AlertDialog.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRIconView.h"
#include "screens/design/VRLabel.h"

#include <QHBoxLayout>
#include <QPaintEvent>
#include <QPainter>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {
constexpr int dialogWidth = 360;
constexpr int markSize = 64;

VRLabel* makeText(const VREnvironment& environment, VR::Type type, VR::Ink ink, int lines, const QString& text) {
    auto* label = new VRLabel(environment, type, ink, text, lines);
    label->setAlignment(Qt::AlignCenter);
    return label;
}
} // namespace

AlertDialog::AlertDialog(const Alert& alert, const VREnvironment& environment, std::function<void(int)> done,
                         QWidget* parent)
    : QDialog(parent)
    , environment_(environment)
    , isNotice_(alert.buttons.size() == 1) {
    setObjectName(alert.identifier);
    setAttribute(Qt::WA_DeleteOnClose);
    if (!isNotice_)
        setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint); // nothing to close it by
    setWindowModality(Qt::ApplicationModal);
    setWindowTitle(u"Velmora TimeTracker"_s);
    setAccessibleName(VR::displayText(alert.message));
    setAccessibleDescription(alert.identifier.isEmpty() ? QString() : u"#"_s + alert.identifier);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(24, 24, 24, 20);
    column->setSpacing(12);
    if (alert.showsIcon)
        column->addWidget(new VRIconView(environment, u"MenuBarIcon"_s, markSize, VR::Ink::brand), 0, Qt::AlignHCenter);
    else if (alert.style == Alert::Style::warning)
        column->addWidget(new VRIconView(environment, u"VRIconWarning"_s, 40, VR::Ink::danger), 0, Qt::AlignHCenter);
    column->addWidget(makeText(environment, VR::Type::title, VR::Ink::strong, 3, alert.message));
    if (!alert.informative.isEmpty())
        column->addWidget(makeText(environment, VR::Type::body, VR::Ink::text, 8, alert.informative));
    column->addSpacing(4);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(12);
    for (int i = 0; i < alert.buttons.size(); ++i) {
        auto* button = new VRButton(environment, i == 0 ? VRButton::Look::gradient : VRButton::Look::outline,
                                    alert.buttons.at(i), u"#alert"_s + alert.buttons.at(i));
        buttons->addWidget(button, 1);
        connect(button, &VRButton::clicked, this, [this, i] { QDialog::done(i + 1); });
        if (i == 0)
            button->setFocus(Qt::OtherFocusReason);
    }
    column->addLayout(buttons);
    setFixedWidth(dialogWidth);
    connect(this, &QDialog::finished, this, [done = std::move(done)](int result) { done(qMax(0, result - 1)); });
}

void AlertDialog::reject() {
    if (isNotice_)
        QDialog::reject();
}

void AlertDialog::paintEvent(QPaintEvent* event) {
    QPainter(this).fillRect(event->rect(), environment_.palette().surface);
}
