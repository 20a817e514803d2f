#include "Truth.h"

#include <algorithm>
#include <cmath>

void Truth::note(double from, double to, Second what) {
    if (to <= from)
        return;
    const auto first = static_cast<size_t>(std::max(0.0, std::floor(from)));
    const auto last = static_cast<size_t>(std::max(0.0, std::ceil(to)));
    if (last > seconds_.size())
        seconds_.resize(last, Second::idle);
    std::fill(seconds_.begin() + static_cast<ptrdiff_t>(first),
              seconds_.begin() + static_cast<ptrdiff_t>(last), what);
}

double Truth::workedSeconds() const {
    return static_cast<double>(std::count(seconds_.begin(), seconds_.end(), Second::worked));
}

QStringList Truth::compare(const std::vector<Session>& sessions, double until,
                           const QHash<QUuid, double>& openUntil) const {
    // How much of each real second is billed, in all.
    const auto length = static_cast<size_t>(until);
    std::vector<float> billed(length + 2, 0.0F);
    for (const Session& session : sessions) {
        for (const TrackingInterval& interval : session.intervals) {
            const double from = std::clamp(interval.startedAt - start_, 0.0, until);
            const double open = openUntil.value(session.id, from);
            const double to =
                std::clamp(interval.stoppedAt ? *interval.stoppedAt - start_ : open, from, until);
            for (double second = std::floor(from); second < to; ++second)
                billed[static_cast<size_t>(second)] +=
                    static_cast<float>(std::min(to, second + 1) - std::max(from, second));
        }
    }
    QStringList faults;
    const auto fault = [&](const char* what, size_t second) {
        if (faults.size() < 5)
            faults.append(QStringLiteral("%1 second %2 (billed %3)")
                              .arg(QLatin1String(what))
                              .arg(second)
                              .arg(billed[second]));
    };
    for (size_t second = 0; second < length; ++second) {
        const Second truth = second < seconds_.size() ? seconds_[second] : Second::idle;
        if (billed[second] > 1.01F)
            fault("B: billed twice:", second);
        else if (truth == Second::idle && billed[second] > 0.01F)
            fault("B: invented:", second);
        else if (truth == Second::worked && billed[second] < 0.99F)
            fault("L: lost:", second);
    }
    return faults;
}
