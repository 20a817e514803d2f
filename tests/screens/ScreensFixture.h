#pragma once

#include "EngineFixture.h"
#include "LoginModel.h"
#include "PopoverModel.h"
#include "PopoverView.h"
#include "PreferenceStores.h"
#include "ThemeManager.h"
#include "TrackerModel.h"
#include "VRImages.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QEvent>
#include <gmock/gmock.h>

/// The control of that identifier that can be seen in `root`; null when there is none.
template <typename Control = QWidget>
Control* control(QWidget& root, const QString& identifier) {
    for (QWidget* widget : root.findChildren<QWidget*>())
        if (widget->accessibleDescription() == identifier && widget->isVisibleTo(&root))
            return dynamic_cast<Control*>(widget);
    return nullptr;
}

/// The screens over the simulated program. What stands above the core is made anew with it.
struct ScreensFixture : testing::Test {
    EngineFixture world;
    ThemeManager theme{world.machine.preferences};
    VRImages images;
    std::optional<LoginModel> login;
    std::optional<PopoverModel> root;
    std::optional<TrackerModel> tracker;
    std::unique_ptr<PopoverView> shown;

    ScreensFixture() { relaunch(); }

    void relaunch() {
        shown.reset();
        login.reset();
        root.reset();
        tracker.reset();
        world.restart();
        login.emplace(*world.core);
        root.emplace(*world.core);
        tracker.emplace(*world.core);
    }
    /// Nobody is signed in, as at the very first start.
    void signOut() {
        world.machine.secrets.remove(KeychainService::service, KeychainService::account);
        DomainStorage(world.machine.preferences).setBaseURL(std::nullopt);
        relaunch();
    }
    void show(PopoverView::Place place = PopoverView::Place::window) {
        shown =
            std::make_unique<PopoverView>(PopoverView::Models{*root, *login, *tracker}, theme, images, place);
        shown->resize(shown->sizeHint());
        shown->show();
        settle();
    }
    void settle() {
        world.machine.timeline.settle();
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        shown->grab();
    }
    /// What the control of that identifier says; "-" when it is not on the screen.
    QString text(const QString& identifier) {
        const auto* found = control(*shown, identifier);
        return found ? found->accessibleName() + found->property("text").toString() : QStringLiteral("-");
    }
    void press(const QString& identifier) {
        auto* button = control<QAbstractButton>(*shown, identifier);
        ASSERT_TRUE(button) << qPrintable(identifier);
        button->click();
        settle();
    }
};
