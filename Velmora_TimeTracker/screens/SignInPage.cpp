#include "SignInPage.h"

#include "VRCard.h"
#include "VRDecor.h"
#include "VRLabel.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

SignInPage::SignInPage(const VREnvironment& environment, const Hero& hero)
    : VRScrollView(environment)
    , environment_(environment) {
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    const int margin = environment.margin();
    column->setContentsMargins(margin, margin, margin, margin - 4);
    column->setSpacing(environment.compact ? 12 : 16);
    column->addWidget(makeHero(hero));
    auto* card = new VRCard(environment);
    card->column().setSpacing(12);
    fields_ = &card->column();
    column->addWidget(card);
    footer_ = new QVBoxLayout;
    footer_->setSpacing(8);
    column->addLayout(footer_);
    column->addStretch(1);
    setWidget(content);
    content->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
}

VRHeroCard* SignInPage::makeHero(const Hero& hero) {
    auto* card = new VRHeroCard(environment_, hero.drawing, environment_.compact ? 16 : 20);
    card->setDrawing(0.36);
    card->setMinimumHeight(environment_.compact ? 116 : 128);
    QVBoxLayout& column = card->column();
    column.setSpacing(6);
    column.addStretch(1);
    auto* titleRow = new QHBoxLayout;
    titleRow->setSpacing(10);
    if (hero.showsLogo)
        titleRow->addWidget(
            new VRIconView(environment_, QStringLiteral("MenuBarIcon"), 24, VR::Ink::onGradient));
    auto* title = new VRLabel(environment_, VR::Type::title, VR::Ink::onGradient, hero.title);
    titleRow->addWidget(title, 1);
    column.addLayout(titleRow);
    auto* textRow = new QHBoxLayout;
    auto* text = new VRLabel(environment_, VR::Type::body, VR::Ink::onGradientSoft);
    text->setMaximumLines(8);
    text->setText(hero.text);
    textRow->addWidget(text, 66);
    textRow->addStretch(34);
    column.addLayout(textRow);
    column.addStretch(1);
    return card;
}
