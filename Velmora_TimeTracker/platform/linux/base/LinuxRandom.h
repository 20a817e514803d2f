#pragma once

#include "platform/Random.h"

/// Chance from the kernel's generator.
class LinuxRandom final : public Random {
public:
    QUuid uuid() override;
    double uniform(double low, double high) override;
};
