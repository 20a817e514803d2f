#pragma once

#include "platform/Random.h"

/// Random values from the kernel's generator.
class LinuxRandom final : public Random {
public:
    QUuid uuid() override;
    double uniform(double low, double high) override;
};
