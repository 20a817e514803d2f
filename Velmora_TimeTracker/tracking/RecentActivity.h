#pragma once

#include <deque>
#include <optional>

/// The share of the last tracked seconds that had input, over five minutes at most.
class RecentActivity {
public:
    /// Adds one tracked second.
    void add(bool hadInput);
    void clear() { seconds_.clear(); }
    /// In percent; absent before the first second.
    std::optional<double> rate() const;

private:
    std::deque<bool> seconds_; ///< Whether each second had input, the oldest first.
};
