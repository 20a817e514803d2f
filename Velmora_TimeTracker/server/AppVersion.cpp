#include "server/AppVersion.h"

#include "platform/ApplicationInfo.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// Takes the leading numeric characters of any script; their value is 0 unless all are decimal digits.
qint64 leadingNumber(const QString& piece) {
    const QList<uint> characters = piece.toUcs4();
    const auto end = std::find_if_not(characters.begin(), characters.end(),
                                      [](uint character) { return QChar::isNumber(character); });
    const QString digits = QString::fromUcs4(reinterpret_cast<const char32_t*>(characters.constData()),
                                             std::distance(characters.begin(), end));
    return digits.toLongLong(); // 0 when it does not parse
}

} // namespace

QString AppVersion::currentMarketingVersion(const ApplicationInfo& information) {
    return information.information(u"CFBundleShortVersionString"_s).value_or(u"0.0.0"_s);
}

QString AppVersion::currentBuildVersion(const ApplicationInfo& information) {
    return information.information(u"CFBundleVersion"_s).value_or(u"0"_s);
}

std::vector<qint64> AppVersion::parse(const QString& version) {
    std::vector<qint64> numbers;
    for (const QString& piece : version.split(u'.', Qt::SkipEmptyParts))
        numbers.push_back(leadingNumber(piece));
    return numbers;
}

bool AppVersion::isLower(const QString& version, const QString& than) {
    std::vector<qint64> left = parse(version);
    const std::vector<qint64> right = parse(than);
    left.resize(std::max(left.size(), right.size())); // a missing number counts as 0
    return left < right;
}
