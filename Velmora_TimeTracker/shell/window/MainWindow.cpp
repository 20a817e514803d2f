#include "shell/window/MainWindow.h"

#include "screens/design/ThemeManager.h"
#include "screens/design/VRImages.h"
#include "screens/root/PopoverView.h"
#include "screens/root/ScreenModels.h"

#include <QCloseEvent>
#include <QIcon>
#include <QShortcut>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {
constexpr QSize smallest(460, 520);
constexpr QSize initial(460, 540);
} // namespace

MainWindow::MainWindow(ScreenModels& models, const ThemeManager& theme, VRImages& images)
    : tracker_(models.tracker) {
    setWindowTitle(u"Velmora TimeTracker"_s);
    setAccessibleDescription(u"#main-window"_s);
    setWindowIcon(VRImages::render(u"VelmoraLogoColor"_s, theme.palette().brand500, QSize(64, 64), 1));
    setMinimumSize(smallest);
    resize(initial);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(new PopoverView(models, theme, images, PopoverView::Place::window));
    auto* quit = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q), this);
    quit->setContext(Qt::ApplicationShortcut);
    connect(quit, &QShortcut::activated, this, &MainWindow::quitRequested);
}

void MainWindow::bringUp() {
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // The end of the desktop session also closes every window, and must not be blocked.
    event->ignore();
    if (tracker_.isTracking())
        showMinimized();
    else
        Q_EMIT quitRequested();
}
