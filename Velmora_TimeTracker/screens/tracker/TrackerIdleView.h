#pragma once

#include "screens/design/VR.h"

#include <QWidget>

class TaskField;
class TrackerModel;
class VRButton;
class VRCard;
class VRHeroCard;
class VRLabel;

/// The tracker while no session runs: a phrase, the start button, the task and a tip.
class TrackerIdleView : public QWidget {
public:
    TrackerIdleView(TrackerModel& model, const VREnvironment& environment);

protected:
    void showEvent(QShowEvent* event) override;

private:
    VRHeroCard* makeHero();
    VRCard* makeTaskCard();
    VRCard* makeTipsCard();
    void refresh();

    TrackerModel& model_;
    const VREnvironment& environment_;
    VRLabel* phrase_ = nullptr;
    VRButton* start_ = nullptr;
    TaskField* taskField_ = nullptr;
    QWidget* statusLine_ = nullptr;
    VRLabel* status_ = nullptr;
};
