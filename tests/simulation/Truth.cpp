#include "Truth.h"

#include <algorithm>
#include <cmath>
#include <span>

using namespace Qt::StringLiterals;

void Truth::note(double from, double to, Second what) {
    if (to <= from)
        return;
    constexpr double rounding = 1e-6; // of a midnight, say
    const auto first = static_cast<size_t>(std::max(0.0, std::floor(from + rounding)));
    const auto last = static_cast<size_t>(std::max(0.0, std::ceil(to - rounding)));
    if (last > seconds_.size())
        seconds_.resize(last, Second::idle);
    std::ranges::fill(std::span(seconds_).subspan(first, last - first), what);
}

double Truth::workedSeconds() const {
    return static_cast<double>(std::count(seconds_.begin(), seconds_.end(), Second::worked));
}

QStringList Truth::compare(const std::vector<Session>& sessions, double since, double until,
                           const std::function<std::optional<double>(const QUuid&)>& openUntil) const {
    // How much of each real second is billed, in all.
    const auto first = static_cast<size_t>(std::max(0.0, since));
    const auto last = std::max(first, static_cast<size_t>(until));
    std::vector<float> billed(last - first + 2, 0.0F);
    for (const Session& session : sessions) {
        for (const TrackingInterval& interval : session.intervals) {
            const double began = std::clamp(interval.startedAt - start_, 0.0, until);
            const double end =
                interval.stoppedAt ? *interval.stoppedAt - start_ : openUntil(session.id).value_or(began);
            const double to = std::clamp(end, began, until);
            const double from = std::max(began, static_cast<double>(first));
            for (double second = std::floor(from); second < to; ++second)
                billed[static_cast<size_t>(second) - first] +=
                    static_cast<float>(std::min(to, second + 1) - std::max(from, second));
        }
    }
    QStringList faults;
    for (size_t second = first; second < last; ++second) {
        const Second truth = second < seconds_.size() ? seconds_[second] : Second::idle;
        const float part = billed[second - first];
        const char* fault = part > 1.01F                              ? "B: billed twice:"
                            : truth == Second::idle && part > 0.01F   ? "B: invented:"
                            : truth == Second::worked && part < 0.99F ? "L: lost:"
                                                                      : nullptr;
        if (fault && faults.size() < 5)
            faults.append(u"%1 second %2 (billed %3)"_s.arg(fault).arg(second).arg(part));
    }
    return faults;
}
