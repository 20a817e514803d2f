#pragma once

#include "platform/Desktop.h"
#include "screens/design/VR.h"

#include <QDialog>
#include <functional>

/// A question or a notice in a window of its own. Escape and closing choose the only button of a notice and are
/// ignored for a question, since each of its answers has an effect. Its object name is the alert's identifier.
class AlertDialog : public QDialog {
public:
    /// Calls `done` once with the index of the chosen button, and deletes itself.
    AlertDialog(const Alert& alert, const VREnvironment& environment, std::function<void(int)> done, QWidget* parent);

    void reject() override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const VREnvironment& environment_;
    const bool isNotice_;
};
