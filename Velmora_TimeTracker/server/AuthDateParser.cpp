#include "server/AuthDateParser.h"

#include "model/ISO8601.h"

namespace {
constexpr int lengthOfDay = 10; // "yyyy-MM-dd"
}

Date AuthDateParser::parse(const QString& text, Seconds defaultFromNow, Date now) {
    if (const auto date = ISO8601::parse(text))
        return *date;
    // "yyyy-MM-dd HH:mm:ss" in UTC differs from an internet date-time in the space and the missing "Z".
    if (text.indexOf(u' ') == lengthOfDay) {
        if (const auto date = ISO8601::parse(QString(text).replace(lengthOfDay, 1, u'T') + u'Z'))
            return *date;
    }
    return now + defaultFromNow;
}
