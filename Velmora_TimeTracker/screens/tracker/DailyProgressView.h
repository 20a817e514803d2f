#pragma once

#include "screens/design/VRCard.h"

#include <QVariantAnimation>

class TrackerModel;
class VRButton;
class VRLabel;
class VRProgressBar;

/// A card with the progress towards the daily target; its back side shows and changes the target.
class DailyProgressView : public VRCard {
public:
    DailyProgressView(TrackerModel& model, const VREnvironment& environment);

    void refresh();

protected:
    void paintEvent(QPaintEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* makeFront();
    QWidget* makeBack();
    void flip();
    void finishTurn();
    void openTargetForm();

    TrackerModel& model_;
    const VREnvironment& environment_;
    VRLabel* percent_ = nullptr;
    VRLabel* times_ = nullptr;
    VRProgressBar* bar_ = nullptr;
    VRLabel* target_ = nullptr;
    VRButton* toBack_ = nullptr;
    VRButton* toFront_ = nullptr;
    QWidget* const front_;
    QWidget* const back_;
    bool progressFlipped_ = false;
    QVariantAnimation turning_; ///< From 0 to 1: half a turn.
    QPixmap before_;            ///< The two sides while they turn; empty otherwise.
    QPixmap after_;
};
