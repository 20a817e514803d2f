#include "screens/signin/LoginFormView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRCard.h"
#include "screens/design/VRLabel.h"
#include "screens/design/VRTextField.h"
#include "screens/signin/LoginModel.h"

#include <QHBoxLayout>
#include <QShortcut>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

LoginFormView::LoginFormView(LoginModel& model, const VREnvironment& environment)
    : SignInPage(environment, {.banner = &VRPalette::loginBanner,
                               .title = u"TimeTracker"_s,
                               .text = u"Manage your team's working hours easily, accurately, and "
                                       "fully integrated."_s,
                               .showsLogo = true})
    , model_(model) {
    buildFields();
    buildFooter();
    connect(&model, &LoginModel::changed, this, &LoginFormView::refresh);
    refresh();
}

void LoginFormView::buildFields() {
    email_ = new VRTextField(environment(), u"Email"_s, u"VRIconMail"_s, u"#loginEmail"_s);
    password_ =
        new VRTextField(environment(), u"Password"_s, u"VRIconLock"_s, u"#loginPassword"_s, VRTextField::Kind::secret);
    message_ = new VRLabel(environment(), VR::Type::caption, VR::Ink::danger, {}, 2);
    message_->setAccessibleDescription(u"#loginMessage"_s);
    auto* forgot = new VRButton(environment(), VRButton::Look::link, u"Forgot password?"_s, u"#forgotPassword"_s);
    login_ = new VRButton(environment(), VRButton::Look::gradient, u"Login"_s, u"#loginButton"_s);
    // Side by side if both fit, so that the button does not move.
    auto* row = new QBoxLayout(environment().compact ? QBoxLayout::BottomToTop : QBoxLayout::LeftToRight);
    row->setSpacing(environment().compact ? 4 : 12);
    row->addWidget(message_, 1);
    row->addWidget(forgot, 0, environment().compact ? Qt::AlignRight : Qt::Alignment());
    message_->setMinimumHeight(environment().compact ? 0 : 32);
    fields().addWidget(email_);
    fields().addWidget(password_);
    fields().addLayout(row);
    fields().addWidget(login_);

    const auto submit = [this] { spawn(model_.performLogin(), "login"); };
    connect(email_, &VRTextField::edited, &model_, &LoginModel::setEmail);
    connect(password_, &VRTextField::edited, &model_, &LoginModel::setPassword);
    connect(password_, &VRTextField::revealPressed, &model_, &LoginModel::togglePassword);
    connect(email_, &VRTextField::submitted, this, submit);
    connect(password_, &VRTextField::submitted, this, submit);
    connect(login_, &VRButton::clicked, this, submit);
    connect(forgot, &VRButton::clicked, &model_, &LoginModel::openForgotPassword);
}

void LoginFormView::buildFooter() {
    auto* question = new VRLabel(environment(), VR::Type::caption, VR::Ink::text, u"Don't have an account?"_s);
    auto* contact =
        new VRButton(environment(), VRButton::Look::link, u"Contact your administrator"_s, u"#contactAdministrator"_s);
    auto* row = new QBoxLayout(environment().compact ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
    row->setSpacing(environment().compact ? 0 : 4);
    row->addStretch(1);
    row->addWidget(question, 0, Qt::AlignCenter);
    row->addWidget(contact, 0, Qt::AlignCenter);
    row->addStretch(1);
    footer().addLayout(row);
    noAccount_ = makeNoAccountCard();
    footer().addWidget(noAccount_);
    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    connect(escape, &QShortcut::activated, this, [this] { model_.setNoAccountInfoShown(false); });
    connect(contact, &VRButton::clicked, this, [this] { model_.setNoAccountInfoShown(true); });
}

VRCard* LoginFormView::makeNoAccountCard() {
    auto* card = new VRCard(environment(), VRCard::Look::soft);
    const auto add = [this, card](const QString& text) {
        card->column().addWidget(new VRLabel(environment(), VR::Type::caption, VR::Ink::text, text, 8));
    };
    add(u"Velmora TimeTracker accounts are created by your company's owner or HR on Velmora. If you "
        "don't have an account yet, please contact your HR or company administrator to get one."_s);
    add(u"Do you own a company? Register it at www.velmora.example."_s);
    auto* site = new VRButton(environment(), VRButton::Look::link, u"Open www.velmora.example"_s, u"#openWebsite"_s);
    auto* close = new VRButton(environment(), VRButton::Look::soft, u"Close"_s, u"#closeNoAccount"_s);
    auto* row = new QHBoxLayout;
    row->addWidget(site);
    row->addStretch(1);
    row->addWidget(close);
    card->column().addLayout(row);
    connect(site, &VRButton::clicked, this, [this] { model_.openWebsite(); });
    connect(close, &VRButton::clicked, this, [this] { model_.setNoAccountInfoShown(false); });
    return card;
}

void LoginFormView::refresh() {
    email_->setText(model_.email());
    password_->setText(model_.password());
    password_->setRevealed(model_.showsPassword());
    message_->setText(model_.formMessage().value_or(QString()));
    message_->setVisible(!environment().compact || !message_->text().isEmpty());
    const bool isBusy = model_.isBusy();
    email_->setReadOnly(isBusy);
    password_->setReadOnly(isBusy);
    login_->setEnabled(!isBusy);
    login_->setText(isBusy ? u"Signing in…"_s : u"Login"_s);
    if (noAccount_->isHidden() == model_.showsNoAccountInfo()) {
        noAccount_->setVisible(model_.showsNoAccountInfo());
        // After the layout has been updated.
        QMetaObject::invokeMethod(
            this, [this] { ensureWidgetVisible(noAccount_); }, Qt::QueuedConnection);
    }
}

void LoginFormView::showEvent(QShowEvent* event) {
    SignInPage::showEvent(event);
    (model_.email().isEmpty() ? email_ : password_)->focusInput();
}
