#include "screens/root/PopoverView.h"

#include "screens/design/VRButton.h"
#include "screens/design/VRHeaderBar.h"
#include "screens/gates/ForcedUpdateView.h"
#include "screens/gates/InterruptedSessionView.h"
#include "screens/gates/PermissionView.h"
#include "screens/gates/RestoreView.h"
#include "screens/root/ScreenModels.h"
#include "screens/signin/LoginView.h"
#include "screens/tracker/TrackerView.h"

#include <QPaintEvent>
#include <QPainter>
#include <QVBoxLayout>

namespace {
constexpr int popoverWidth = 340;
constexpr int windowWidth = 460;
constexpr int windowHeight = 540;

QColor colour(Routing::StatusTone tone, const VRPalette& palette) {
    switch (tone) {
    case Routing::StatusTone::warning:
        return VR::warning;
    case Routing::StatusTone::success:
        return VR::success;
    case Routing::StatusTone::brand:
        break;
    }
    return palette.brand500;
}
} // namespace

PopoverView::PopoverView(ScreenModels& models, const ThemeManager& theme, VRImages& images, Place place)
    : models_(models)
    , environment_{theme, images, place == Place::popover}
    , column_(new QVBoxLayout(this))
    , header_(new VRHeaderBar(environment_, place == Place::popover)) {
    column_->setContentsMargins(0, 0, 0, 0);
    column_->setSpacing(0);
    column_->addWidget(header_);
    if (auto* button = header_->openAppButton())
        connect(button, &VRButton::clicked, this, &PopoverView::openMainWindowPressed);
    connect(&models_.root, &PopoverModel::changed, this, &PopoverView::refresh);
    connect(&theme, &ThemeManager::paletteChanged, this, &PopoverView::refreshHeader);
    refresh();
}

QSize PopoverView::sizeHint() const {
    if (!environment_.compact)
        return {windowWidth, windowHeight};
    return {popoverWidth, Routing::contentHeight(models_.root.screen())};
}

QWidget* PopoverView::makePage(Routing::Screen screen) {
    using Routing::Screen;
    switch (screen) {
    case Screen::restore:
        return new RestoreView(models_.restore, environment_);
    case Screen::login:
        return new LoginView(models_.login, environment_);
    case Screen::forcedUpdate:
        return new ForcedUpdateView(models_.forcedUpdate, environment_);
    case Screen::permissions:
        return new PermissionView(models_.permission, environment_);
    case Screen::interrupted:
        return new InterruptedSessionView(models_.interruptedSession, environment_);
    case Screen::tabs:
        break;
    }
    return new TrackerView(models_.tracker, environment_);
}

void PopoverView::refresh() {
    refreshHeader();
    const Routing::Screen wanted = models_.root.screen();
    if (shown_ == wanted)
        return;
    shown_ = wanted;
    VR::discard(page_);
    header_->setVisible(Routing::hasHeader(wanted));
    page_ = makePage(wanted);
    column_->addWidget(page_, 1);
    page_->show();
    Q_EMIT contentHeightChanged(Routing::contentHeight(wanted));
}

void PopoverView::refreshHeader() {
    const auto status = models_.root.headerStatus();
    header_->setStatus(status.label, colour(status.tone, environment_.palette()));
}

void PopoverView::paintEvent(QPaintEvent* event) {
    QPainter(this).fillRect(event->rect(), environment_.palette().appBackground);
}

void PopoverView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    models_.root.runInitialLoad();
}
