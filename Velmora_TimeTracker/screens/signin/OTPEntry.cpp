#include "screens/signin/OTPEntry.h"

#include "screens/text/Formatting.h"

void OTPEntry::change(int index, const QString& text) {
    const QString kept = Formatting::asciiDigits(text).left(length);
    if (kept.size() <= 1) {
        digits.at(static_cast<std::size_t>(index)) = kept;
        focusedField = index;
        if (!kept.isEmpty())
            commit(index);
        return;
    }
    for (qsizetype i = 0; i < kept.size(); ++i)
        digits.at(static_cast<std::size_t>(i)) = kept.mid(i, 1);
    focusedField = qMin(static_cast<int>(kept.size()), length - 1);
}

void OTPEntry::commit(int index) {
    focusedField = qMin(index + 1, length - 1);
}

QString OTPEntry::code() const {
    QString joined;
    for (const QString& digit : digits)
        joined += digit;
    return joined;
}
