#include "screens/tracker/DailyTargetForm.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRLabel.h"
#include "screens/design/VRTextField.h"
#include "screens/text/Formatting.h"
#include "screens/tracker/TrackerModel.h"

#include <QHBoxLayout>
#include <QPaintEvent>
#include <QPainter>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {
constexpr int mostHours = 24;
constexpr int mostMinutes = 59;
} // namespace

DailyTargetForm::DailyTargetForm(TrackerModel& model, const VREnvironment& environment, QWidget* parent)
    : QDialog(parent)
    , model_(model)
    , environment_(environment)
    , hours_(makeField(u"hours"_s, model.targetHours(), mostHours))
    , minutes_(makeField(u"minutes"_s, model.targetMinutes(), mostMinutes)) {
    setWindowTitle(u"Daily Work Target"_s);
    setAccessibleDescription(u"#dailyTargetForm"_s);
    auto* column = VR::makeColumn(this, 16, 20);
    column->addWidget(new VRLabel(environment, VR::Type::title, VR::Ink::strong, u"Daily Work Target"_s));
    auto* fields = new QHBoxLayout;
    fields->setSpacing(12);
    fields->addWidget(hours_);
    fields->addWidget(minutes_);
    column->addLayout(fields);
    auto* cancel = new VRButton(environment, VRButton::Look::outline, u"Cancel"_s, u"#cancelTarget"_s);
    auto* accept = new VRButton(environment, VRButton::Look::gradient, u"Save"_s, u"#saveTarget"_s);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(12);
    buttons->addWidget(cancel, 1);
    buttons->addWidget(accept, 1);
    column->addLayout(buttons);
    connect(cancel, &VRButton::clicked, this, &QDialog::reject);
    connect(accept, &VRButton::clicked, this, &DailyTargetForm::save);
    hours_->focusInput();
}

VRTextField* DailyTargetForm::makeField(const QString& label, int value, int maximum) {
    auto* field = new VRTextField(environment_, label, {}, u"#target_"_s + label);
    field->setText(QString::number(value));
    connect(field, &VRTextField::edited, this, [field, maximum](const QString& text) {
        if (!text.isEmpty())
            field->setText(QString::number(Formatting::digits(text, maximum)));
    });
    connect(field, &VRTextField::submitted, this, &DailyTargetForm::save);
    return field;
}

void DailyTargetForm::save() {
    model_.setDailyTarget(Formatting::digits(hours_->text(), mostHours),
                          Formatting::digits(minutes_->text(), mostMinutes));
    accept();
}

void DailyTargetForm::paintEvent(QPaintEvent* event) {
    QPainter(this).fillRect(event->rect(), environment_.palette().surface);
}
