#pragma once

#include "VR.h"

#include <QScrollArea>

/// Content that may be taller than its room: as wide as the view, with a thin bar at the right only when
/// needed.
class VRScrollView : public QScrollArea {
public:
    explicit VRScrollView(const VREnvironment& environment);
};
