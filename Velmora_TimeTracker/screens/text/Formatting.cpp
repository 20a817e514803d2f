#include "screens/text/Formatting.h"

#include <array>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {
qint64 whole(Seconds seconds) {
    return static_cast<qint64>(qBound(0.0, seconds, 1e12));
}
} // namespace

QString Formatting::duration(Seconds seconds) {
    const qint64 s = whole(seconds);
    return QString::asprintf("%02lld:%02lld:%02lld", s / 3600, s / 60 % 60, s % 60);
}

QString Formatting::hoursMinutes(Seconds seconds) {
    const qint64 s = whole(seconds);
    return QString::asprintf("%02lld:%02lld", s / 3600, s / 60 % 60);
}

QString Formatting::relative(Date then, Date now) {
    struct Unit {
        const char* name;
        qint64 seconds;
    };
    static constexpr std::array<Unit, 7> units = {{{"year", 31'536'000},
                                                   {"month", 2'592'000},
                                                   {"week", 604'800},
                                                   {"day", 86'400},
                                                   {"hour", 3'600},
                                                   {"minute", 60},
                                                   {"second", 1}}};
    const Seconds span = now - then;
    const qint64 distance = whole(std::abs(span));
    for (const Unit& unit : units) {
        if (distance < unit.seconds && unit.seconds > 1)
            continue;
        const qint64 count = distance / unit.seconds;
        const QString text = u"%1 %2%3"_s.arg(count).arg(QLatin1String(unit.name), count == 1 ? QString() : u"s"_s);
        return span < 0 ? u"in "_s + text : text + u" ago"_s;
    }
    return {};
}

QString Formatting::asciiDigits(const QString& text) {
    QString kept;
    for (const uint c : text.toUcs4())
        if (QChar::isDigit(c))
            kept += QChar(u'0' + QChar::digitValue(c));
    return kept;
}

int Formatting::digits(const QString& text, int maximum) {
    return qMin(asciiDigits(text).left(2).toInt(), maximum);
}
