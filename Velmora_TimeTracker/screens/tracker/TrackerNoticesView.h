#pragma once

#include "screens/design/VRCard.h"

class TrackerModel;
class VRButton;
class VRLabel;

/// The notices of the tracker screen, one line each; hidden while there are none.
class TrackerNoticesView : public VRCard {
public:
    TrackerNoticesView(TrackerModel& model, const VREnvironment& environment);

    void refresh();

private:
    struct Line {
        QWidget* row = nullptr;
        VRLabel* text = nullptr;
        VRButton* action = nullptr;
    };
    Line makeLine();

    TrackerModel& model_;
    const VREnvironment& environment_;
    std::vector<Line> lines_; ///< As many as there ever were notices at once; hidden where there are fewer.
};
