#pragma once

#include "EngineFixture.h"
#include "LoginModel.h"
#include "PopoverModel.h"
#include "PopoverView.h"
#include "ThemeManager.h"
#include "TrackerModel.h"
#include "VRImages.h"

/// The screens over the simulated program. The pieces above the core are made anew with it.
struct ScreensFixture {
    EngineFixture world;
    std::unique_ptr<ThemeManager> theme = std::make_unique<ThemeManager>(world.machine.preferences);
    VRImages images;
    std::unique_ptr<LoginModel> login;
    std::unique_ptr<PopoverModel> root;
    std::unique_ptr<TrackerModel> tracker;

    ScreensFixture() { makeModels(); }

    void makeModels() {
        login = std::make_unique<LoginModel>(*world.core);
        root = std::make_unique<PopoverModel>(*world.core);
        tracker = std::make_unique<TrackerModel>(*world.core);
    }
    void relaunch() {
        login.reset();
        root.reset();
        tracker.reset();
        world.restart();
        makeModels();
    }
    /// Nobody is signed in, as at the very first start.
    void signOut() {
        world.machine.secrets.remove(KeychainService::service, KeychainService::account);
        DomainStorage(world.machine.preferences).setBaseURL(std::nullopt);
        relaunch();
    }

    AppStateManager& app() { return world.core->appState; }
    std::unique_ptr<PopoverView> view(PopoverView::Place place) {
        return std::make_unique<PopoverView>(PopoverView::Models{*root, *login, *tracker}, *theme, images,
                                             place);
    }
};

/// The control of that identifier that can be seen in `root`; null when there is none.
inline QWidget* control(QWidget& root, const QString& identifier) {
    for (QWidget* widget : root.findChildren<QWidget*>())
        if (widget->accessibleDescription() == identifier && widget->isVisibleTo(&root))
            return widget;
    return nullptr;
}
