#pragma once

#include "Desktop.h"
#include "VR.h"

#include <QDialog>
#include <functional>

/// A question or a notice in a window of its own. Escape and closing choose the last button.
class AlertDialog : public QDialog {
public:
    /// Calls `done` once with the index of the chosen button, and deletes itself.
    AlertDialog(const Alert& alert, const VREnvironment& environment, std::function<void(int)> done,
                QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const VREnvironment& environment_;
};
