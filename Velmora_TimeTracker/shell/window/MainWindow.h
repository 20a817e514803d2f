#pragma once

#include <QWidget>

class ThemeManager;
class TrackerModel;
class VRImages;
struct ScreenModels;

/// The main window around the root view. Closing it minimises it while a session runs, so that tracking is neither
/// ended nor hidden by accident; otherwise it ends the program. Ctrl+Q ends the program at any time.
class MainWindow : public QWidget {
    Q_OBJECT

public:
    MainWindow(ScreenModels& models, const ThemeManager& theme, VRImages& images);

    /// Shows the window, in front and with the keyboard.
    void bringUp();

Q_SIGNALS:
    void quitRequested();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    const TrackerModel& tracker_;
};
