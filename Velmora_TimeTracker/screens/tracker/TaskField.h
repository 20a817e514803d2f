#pragma once

#include "screens/design/VRButton.h"

class TrackerModel;

/// Shows the selected task and opens the menu of tasks.
class TaskField : public VRButton {
public:
    TaskField(TrackerModel& model, const VREnvironment& environment);

    void refresh();
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

private:
    void presentTaskMenu();

    TrackerModel& model_;
    QString title_;
};
