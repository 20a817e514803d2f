#include "platform/linux/base/LinuxRandom.h"

#include <QRandomGenerator>

QUuid LinuxRandom::uuid() {
    return QUuid::createUuid();
}

double LinuxRandom::uniform(double low, double high) {
    return low + (high - low) * QRandomGenerator::system()->generateDouble();
}
