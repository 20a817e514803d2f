#pragma once

#include <QUuid>

/// The source of random identifiers and jitter. Safe to call from any thread.
class Random {
public:
    virtual ~Random() = default;

    virtual QUuid uuid() = 0;

    /// Uniform in [low, high].
    virtual double uniform(double low, double high) = 0;
};
