#include "screens/design/VRTextField.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRImages.h"
#include "screens/design/VRLabel.h"
#include "screens/design/VRPaint.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPainter>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {
constexpr int iconSize = 18;
constexpr int sidePadding = 14;
/// An e-mail address has at most 254 characters; passwords may be longer.
constexpr int longestInput = 1024;
} // namespace

VRTextField::VRTextField(const VREnvironment& environment, const QString& label, const QString& icon,
                         const QString& identifier, Kind kind)
    : environment_(environment)
    , icon_(icon)
    , label_(new VRLabel(environment, VR::Type::strong, VR::Ink::strong, label))
    , input_(new QLineEdit) {
    label_->setBuddy(input_);
    input_->setFrame(false);
    input_->setFont(VR::font(VR::Type::body));
    input_->setMaxLength(longestInput);
    input_->setAccessibleName(label);
    input_->setAccessibleDescription(identifier);
    input_->installEventFilter(this);
    input_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);

    auto* row = new QHBoxLayout;
    row->setContentsMargins(sidePadding + (icon.isEmpty() ? 0 : iconSize + 8), 1, sidePadding, 1);
    row->setSpacing(4);
    row->addWidget(input_);
    if (kind == Kind::secret) {
        eye_ = new VRButton(environment, VRButton::Look::plain, {}, identifier + u"Eye"_s);
        row->addWidget(eye_);
        row->setContentsMargins(sidePadding + iconSize + 8, 1, 4, 1);
        connect(eye_, &VRButton::clicked, this, &VRTextField::revealPressed);
    }
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    column->addWidget(label_);
    column->addLayout(row);
    row->addStrut(VR::controlHeight - 2);
    setFocusProxy(input_);
    setRevealed(kind == Kind::plain);
    adoptColours();
    connect(input_, &QLineEdit::textChanged, this, &VRTextField::edited);
    connect(input_, &QLineEdit::returnPressed, this, &VRTextField::submitted);
}

QString VRTextField::text() const {
    return input_->text();
}

void VRTextField::setText(const QString& text) {
    if (input_->text() != text)
        input_->setText(text);
}

void VRTextField::setRevealed(bool revealed) {
    input_->setEchoMode(revealed ? QLineEdit::Normal : QLineEdit::Password);
    if (!eye_)
        return;
    input_->setInputMethodHints(Qt::ImhSensitiveData | Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase);
    eye_->setIconName(revealed ? u"VRIconEyeOff"_s : u"VRIconEye"_s);
    eye_->setSpokenName(revealed ? u"Hide password"_s : u"Show password"_s);
}

void VRTextField::setReadOnly(bool readOnly) {
    input_->setReadOnly(readOnly);
}

void VRTextField::focusInput() {
    input_->setFocus(Qt::OtherFocusReason);
    input_->end(false);
}

QRect VRTextField::frame() const {
    return {0, height() - VR::controlHeight, width(), VR::controlHeight};
}

void VRTextField::paintEvent(QPaintEvent*) {
    const VRPalette& palette = environment_.palette();
    const bool isActive = input_->hasFocus();
    const QColor edge = isActive ? palette.brand500 : palette.border;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    VRPaint::roundedRect(painter, frame(), VR::controlRadius, palette.surfaceSoft, edge, isActive ? 2 : 1);
    if (!icon_.isEmpty()) {
        const QColor ink = isActive ? palette.accentText() : palette.textMuted;
        painter.drawPixmap(sidePadding, frame().center().y() - iconSize / 2 + 1,
                           environment_.images.icon(icon_, ink, iconSize, devicePixelRatioF()));
    }
}

void VRTextField::adoptColours() {
    const VRPalette& palette = environment_.palette();
    QPalette colours = input_->palette();
    colours.setColor(QPalette::Base, Qt::transparent);
    colours.setColor(QPalette::Text, palette.textStrong);
    colours.setColor(QPalette::PlaceholderText, palette.textMuted);
    if (colours != input_->palette())
        input_->setPalette(colours);
}

void VRTextField::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange)
        adoptColours();
    QWidget::changeEvent(event);
}

bool VRTextField::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut)
        update();
    return QWidget::eventFilter(watched, event);
}
