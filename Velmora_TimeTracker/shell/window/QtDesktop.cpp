#include "shell/window/QtDesktop.h"

#include "shell/window/AlertDialog.h"
#include "shell/window/MainWindow.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QUrl>

using namespace Qt::StringLiterals;

QtDesktop::QtDesktop() = default;
QtDesktop::~QtDesktop() = default;

void QtDesktop::setTheme(const ThemeManager& theme, VRImages& images) {
    environment_ = std::make_unique<VREnvironment>(VREnvironment{theme, images, false});
}

void QtDesktop::present(const Alert& alert, std::function<void(int button)> done) {
    if (!environment_)
        return;
    auto* dialog = new AlertDialog(alert, *environment_, std::move(done), window_);
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
}

void QtDesktop::withdraw(const QString& identifier) {
    if (!window_)
        return;
    for (QDialog* dialog : window_->findChildren<QDialog*>(identifier)) {
        dialog->hide();
        dialog->deleteLater();
    }
}

void QtDesktop::activate() {
    bringWindowToFront();
}

bool QtDesktop::bringWindowToFront() {
    if (!window_)
        return false;
    window_->bringUp();
    return true;
}

bool QtDesktop::mayOpen(const QUrl& url) {
    const QString scheme = url.scheme();
    return url.isValid() && !url.host().isEmpty() && (scheme == u"https"_s || scheme == u"http"_s);
}

void QtDesktop::open(const QUrl& url) {
    if (mayOpen(url))
        QDesktopServices::openUrl(url);
}

void QtDesktop::terminate() {
    // Not quit(): it closes the windows first, which only minimises them.
    QApplication::exit();
}
