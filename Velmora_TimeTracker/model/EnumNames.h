#pragma once

#include <QString>
#include <cstddef>
#include <optional>
#include <utility>

/// Maps enumerators to stored names by a table of pairs. An enumerator outside the table has an empty name; an unknown
/// name gives no enumerator.
template <typename Case, std::size_t Count>
QString nameOf(const std::pair<Case, const char*> (&names)[Count], Case wanted) {
    for (const auto& [value, name] : names)
        if (value == wanted)
            return QString::fromLatin1(name);
    return {};
}

template <typename Case, std::size_t Count>
std::optional<Case> caseOf(const std::pair<Case, const char*> (&names)[Count], const QString& wanted) {
    for (const auto& [value, name] : names)
        if (wanted == QLatin1StringView(name))
            return value;
    return std::nullopt;
}
