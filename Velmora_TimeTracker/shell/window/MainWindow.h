#pragma once

#include "screens/root/PopoverView.h"

#include <QWidget>

/// The main window around the root view. As long as no status item stands for the program, closing it while a
/// session runs only minimises it, so that tracking is never ended, nor hidden, by accident; closing it
/// otherwise ends the program, and so does Ctrl+Q at any time.
class MainWindow : public QWidget {
    Q_OBJECT

public:
    MainWindow(const PopoverView::Models& models, const ThemeManager& theme, VRImages& images);

    /// Shows the window, in front and with the keyboard.
    void bringUp();

Q_SIGNALS:
    void quitRequested();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    TrackerModel& tracker_;
};
