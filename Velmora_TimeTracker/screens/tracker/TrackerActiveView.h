#pragma once

#include "screens/design/VR.h"

#include <QWidget>

class DailyProgressView;
class QHBoxLayout;
class TrackerModel;
class VRButton;
class VRClockLabel;
class VRHeroCard;
class VRLabel;

/// The tracker while a session runs: today's clock, the daily progress and the two controls.
class TrackerActiveView : public QWidget {
public:
    TrackerActiveView(TrackerModel& model, const VREnvironment& environment);

protected:
    void showEvent(QShowEvent* event) override;

private:
    VRHeroCard* makeHero();
    QHBoxLayout* makeControls();
    void refresh();

    TrackerModel& model_;
    const VREnvironment& environment_;
    VRLabel* project_ = nullptr;
    VRClockLabel* clock_ = nullptr;
    VRLabel* phrase_ = nullptr;
    VRLabel* activity_ = nullptr;
    DailyProgressView* progress_ = nullptr;
    VRButton* pause_ = nullptr;
};
