#pragma once

#include "screens/design/VR.h"
#include "screens/root/Routing.h"

#include <QWidget>
#include <optional>

class QVBoxLayout;
class VRHeaderBar;
struct ScreenModels;

/// The root view of the program, in the main window and in the popover: shows the screen that the state selects.
/// Only that screen exists.
class PopoverView : public QWidget {
    Q_OBJECT

public:
    enum class Place { window, popover };

    PopoverView(ScreenModels& models, const ThemeManager& theme, VRImages& images, Place place);

    QSize sizeHint() const override;

Q_SIGNALS:
    void openMainWindowPressed();
    /// The popover height of the new screen, in logical pixels.
    void contentHeightChanged(int height);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    QWidget* makePage(Routing::Screen screen);
    void refresh();
    void refreshHeader();

    ScreenModels& models_;
    const VREnvironment environment_;
    QVBoxLayout* const column_;
    VRHeaderBar* const header_;
    QWidget* page_ = nullptr;
    std::optional<Routing::Screen> shown_;
};
