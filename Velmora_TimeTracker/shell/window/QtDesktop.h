#pragma once

#include "platform/Desktop.h"
#include "screens/design/VRImages.h"

#include <functional>
#include <memory>

class MainWindow;
class ThemeManager;
struct VREnvironment;

/// The application on a Qt desktop. Constructed before the window and the theme, which are set before the event loop
/// runs; until then no alert is shown.
class QtDesktop : public Desktop {
public:
    QtDesktop();
    ~QtDesktop() override;

    /// The window that alerts belong to, and what they are painted with; both outlive the event loop.
    void setWindow(MainWindow& window) { window_ = &window; }
    void setTheme(const ThemeManager& theme, VRImages& images);

    void present(const Alert& alert, std::function<void(int button)> done) override;
    void withdraw(const QString& identifier) override;
    void activate() override;
    bool bringWindowToFront() override;
    /// True for a URL that opens in the browser; the server may send others.
    static bool mayOpen(const QUrl& url);
    void open(const QUrl& url) override;
    void terminate() override;

private:
    MainWindow* window_ = nullptr;
    std::unique_ptr<VREnvironment> environment_;
};
