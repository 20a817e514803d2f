#include "screens/tracker/DailyProgressView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRLabel.h"
#include "screens/design/VRPaint.h"
#include "screens/design/VRProgressBar.h"
#include "screens/tracker/DailyTargetForm.h"
#include "screens/tracker/TrackerModel.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QVBoxLayout>
#include <QtMath>

using namespace Qt::StringLiterals;

namespace {
constexpr int turnMilliseconds = 350;
} // namespace

DailyProgressView::DailyProgressView(TrackerModel& model, const VREnvironment& environment)
    : VRCard(environment, Look::glass, 14)
    , model_(model)
    , environment_(environment)
    , front_(makeFront())
    , back_(makeBack()) {
    column().addWidget(front_);
    column().addWidget(back_);
    const QMargins margins = column().contentsMargins();
    setFixedHeight(qMax(front_->sizeHint().height(), back_->sizeHint().height()) + margins.top() + margins.bottom());
    finishTurn();
    turning_.setDuration(turnMilliseconds);
    turning_.setStartValue(0.0);
    turning_.setEndValue(1.0);
    connect(&turning_, &QVariantAnimation::valueChanged, this, [this] { update(); });
    connect(&turning_, &QVariantAnimation::finished, this, [this] {
        finishTurn();
        (progressFlipped_ ? toFront_ : toBack_)->setFocus(Qt::OtherFocusReason);
    });
}

QWidget* DailyProgressView::makeFront() {
    auto* side = new QWidget;
    auto* column = VR::makeColumn(side, 8);
    percent_ = new VRLabel(environment_, VR::Type::heading, VR::Ink::onGradient);
    percent_->setAccessibleDescription(u"#progressPercent"_s);
    auto* heading = new QHBoxLayout;
    heading->addWidget(new VRLabel(environment_, VR::Type::strong, VR::Ink::onGradient, u"Today's Progress"_s), 1);
    heading->addWidget(percent_);
    bar_ = new VRProgressBar;
    times_ = new VRLabel(environment_, VR::Type::caption, VR::Ink::onGradient);
    times_->setAccessibleDescription(u"#progressTimes"_s);
    toBack_ = new VRButton(environment_, VRButton::Look::chip, u"Target"_s, u"#showTarget"_s);
    auto* figures = new QHBoxLayout;
    figures->addWidget(times_, 1);
    figures->addWidget(toBack_);
    column->addLayout(heading);
    column->addWidget(bar_);
    column->addLayout(figures);
    connect(toBack_, &VRButton::clicked, this, &DailyProgressView::flip);
    return side;
}

QWidget* DailyProgressView::makeBack() {
    auto* side = new QWidget;
    auto* column = VR::makeColumn(side, 8);
    target_ = new VRLabel(environment_, VR::Type::strong, VR::Ink::onGradient);
    target_->setAccessibleDescription(u"#targetSentence"_s);
    auto* set = new VRButton(environment_, VRButton::Look::chip, u"Set Target"_s, u"#setTarget"_s);
    toFront_ = new VRButton(environment_, VRButton::Look::chip, u"Back"_s, u"#showProgress"_s);
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    row->addWidget(set);
    row->addWidget(toFront_);
    row->addStretch(1);
    column->addStretch(1);
    column->addWidget(target_);
    column->addLayout(row);
    column->addStretch(1);
    connect(set, &VRButton::clicked, this, &DailyProgressView::openTargetForm);
    connect(toFront_, &VRButton::clicked, this, &DailyProgressView::flip);
    return side;
}

void DailyProgressView::refresh() {
    percent_->setText(model_.progressPercent());
    times_->setText(model_.progressTimes());
    bar_->setValue(model_.progress());
    bar_->setAccessibleDescription(model_.progressPercent());
    target_->setText(model_.targetSentence());
}

void DailyProgressView::flip() {
    QWidget* from = progressFlipped_ ? back_ : front_;
    QWidget* to = progressFlipped_ ? front_ : back_;
    progressFlipped_ = !progressFlipped_;
    to->resize(from->size());
    before_ = from->grab();
    after_ = to->grab();
    front_->hide();
    back_->hide();
    turning_.start();
}

void DailyProgressView::finishTurn() {
    before_ = after_ = QPixmap();
    front_->setVisible(!progressFlipped_);
    back_->setVisible(progressFlipped_);
    update();
}

void DailyProgressView::openTargetForm() {
    auto* form = new DailyTargetForm(model_, environment_, window());
    form->setAttribute(Qt::WA_DeleteOnClose);
    form->open();
}

void DailyProgressView::paintEvent(QPaintEvent* event) {
    if (before_.isNull())
        return VRCard::paintEvent(event);
    const double turn = turning_.currentValue().toDouble();
    const QPixmap& side = turn < 0.5 ? before_ : after_;
    QPainter painter(this);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.translate(width() / 2.0, 0);
    painter.scale(qAbs(qCos(M_PI * turn)), 1);
    painter.translate(-width() / 2.0, 0);
    paintGround(painter);
    const QMargins margins = layout()->contentsMargins();
    painter.drawPixmap(margins.left(), margins.top(), side);
}

void DailyProgressView::hideEvent(QHideEvent* event) {
    turning_.stop();
    finishTurn();
    VRCard::hideEvent(event);
}
