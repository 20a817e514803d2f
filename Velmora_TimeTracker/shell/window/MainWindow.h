#pragma once

#include <QWidget>

class ThemeManager;
class TrackerModel;
class VRImages;
struct ScreenModels;

/// The main window around the root view. As long as no status item stands for the program, closing it while a
/// session runs only minimises it, so that tracking is never ended, nor hidden, by accident; closing it
/// otherwise ends the program, and so does Ctrl+Q at any time.
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
