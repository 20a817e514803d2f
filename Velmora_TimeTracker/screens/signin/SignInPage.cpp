#include "screens/signin/SignInPage.h"

#include "screens/design/VRCard.h"
#include "screens/design/VRIconView.h"
#include "screens/design/VRLabel.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

SignInPage::SignInPage(const VREnvironment& environment, const Hero& hero)
    : VRScrollView(environment) {
    const int margin = environment.margin();
    column().setContentsMargins(margin, margin, margin, margin - 8);
    column().addWidget(makeHero(hero));
    auto* card = new VRCard(environment);
    fields_ = &card->column();
    fields_->setSpacing(environment.compact ? 6 : 12);
    column().addWidget(card);
    footer_ = new QVBoxLayout;
    footer_->setSpacing(8);
    column().addLayout(footer_);
    column().addStretch(1);
}

VRHeroCard* SignInPage::makeHero(const Hero& hero) {
    auto* card = new VRHeroCard(environment(), hero.banner, 0.36, environment().compact ? 12 : 20);
    card->setMinimumHeight(environment().compact ? 108 : 128);
    QVBoxLayout& words = card->column();
    words.setSpacing(6);
    words.addStretch(1);
    auto* titleRow = new QHBoxLayout;
    titleRow->setSpacing(10);
    if (hero.showsLogo)
        titleRow->addWidget(new VRIconView(environment(), u"MenuBarIcon"_s, 24, VR::Ink::onGradient));
    auto* title = new VRLabel(environment(), VR::Type::title, VR::Ink::onGradient, hero.title);
    titleRow->addWidget(title, 1);
    words.addLayout(titleRow);
    auto* textRow = new QHBoxLayout;
    textRow->addWidget(new VRLabel(environment(), VR::Type::body, VR::Ink::onGradientSoft, hero.text, 8), 66);
    textRow->addStretch(34);
    words.addLayout(textRow);
    words.addStretch(1);
    return card;
}
