#include "tracking/RecentActivity.h"

#include <algorithm>

namespace {
constexpr std::size_t windowSize = 300;
} // namespace

void RecentActivity::add(bool hadInput) {
    seconds_.push_back(hadInput);
    if (seconds_.size() > windowSize)
        seconds_.pop_front();
}

std::optional<double> RecentActivity::rate() const {
    if (seconds_.empty())
        return std::nullopt;
    const auto active = std::ranges::count(seconds_, true);
    return static_cast<double>(active) / static_cast<double>(seconds_.size()) * 100.0;
}
