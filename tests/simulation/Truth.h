#pragma once

#include "model/Session.h"

#include <QStringList>
#include <functional>
#include <vector>

/// What really happened, second by second, written down by the world and not by the program. Real time counts
/// the seconds since the world began, awake or asleep, and never jumps.
///
/// A second in which the program ran must be billed, and no other. A crash alone takes some back: at most `crashLoss`
/// running seconds, which are noted as `allowed`.
class Truth {
public:
    enum class Second : quint8 {
        idle,    ///< Must not be billed.
        allowed, ///< May be billed or not.
        worked,  ///< Must be billed, once.
    };
    /// The ticker's period, its tolerance, and rounding at both ends.
    static constexpr double tickSlack = 2.5;
    static constexpr double crashLoss = 60 + tickSlack;

    explicit Truth(Date start)
        : start_(start) {}

    /// Notes [from, to) of real time.
    void note(double from, double to, Second what);
    /// The same of a span whose ends are known only roughly.
    void noteRoughly(double from, double to, Second what) {
        note(from, to, what);
        blur(from);
        blur(to);
    }
    /// The seconds around `at` may fall to either side.
    void blur(double at) { note(at - tickSlack, at + tickSlack, Second::allowed); }

    double workedSeconds() const;

    /// Compares what is billed between two moments with what happened; an open interval is billed until the time given for its
    /// session. Empty when all is well.
    QStringList compare(const std::vector<Session>& sessions, double since, double until,
                        const std::function<std::optional<double>(const QUuid&)>& openUntil) const;

    Date start() const { return start_; }

private:
    Date start_;
    std::vector<Second> seconds_;
};
