#pragma once

#include "screens/design/VR.h"

#include <QScrollArea>

class QVBoxLayout;

/// A column that may be taller than its room: as wide as the view, with a thin bar at the right only when
/// needed.
class VRScrollView : public QScrollArea {
public:
    explicit VRScrollView(const VREnvironment& environment);

protected:
    const VREnvironment& environment() const { return environment_; }
    QVBoxLayout& column() { return *column_; }

private:
    const VREnvironment& environment_;
    QVBoxLayout* column_ = nullptr;
};
