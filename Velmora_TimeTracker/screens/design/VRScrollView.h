#pragma once

#include "screens/design/VR.h"

#include <QScrollArea>

class QVBoxLayout;

/// A scrollable column, as wide as the view, with a thin scroll bar at the right if needed.
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
