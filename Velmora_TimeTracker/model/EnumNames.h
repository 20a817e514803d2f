#pragma once

#include <QString>
#include <cstddef>
#include <optional>
#include <utility>

/// Enumerations that are stored by name: a table of pairs, read in both directions: the name is empty, the
/// case absent, when the table does not have it.
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
