#pragma once

#include "screens/design/VRScrollView.h"

class QVBoxLayout;
class VRHeroCard;
struct VRBannerSpec;
struct VRPalette;

/// The frame of every sign-in screen: a gradient card with a drawing above, a white card with the fields
/// below.
class SignInPage : public VRScrollView {
public:
    struct Hero {
        VRBannerSpec VRPalette::*banner;
        QString title;
        QString text;
        bool showsLogo = false;
    };

    SignInPage(const VREnvironment& environment, const Hero& hero);

protected:
    /// The white card's column.
    QVBoxLayout& fields() { return *fields_; }
    /// Adds a widget below the card.
    QVBoxLayout& footer() { return *footer_; }

private:
    VRHeroCard* makeHero(const Hero& hero);

    QVBoxLayout* fields_ = nullptr;
    QVBoxLayout* footer_ = nullptr;
};
