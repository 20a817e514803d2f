#pragma once

#include "screens/design/VR.h"

#include <QDialog>

class TrackerModel;
class VRTextField;

/// Sets the daily work target.
class DailyTargetForm : public QDialog {
public:
    DailyTargetForm(TrackerModel& model, const VREnvironment& environment, QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    VRTextField* makeField(const QString& label, int value, int maximum);
    void save();

    TrackerModel& model_;
    const VREnvironment& environment_;
    VRTextField* const hours_;
    VRTextField* const minutes_;
};
