#pragma once

#include <QString>
#include <variant>

struct Available {};
/// A lasting reason; a passing failure does not make a service unavailable.
struct Unavailable {
    QString why; ///< One sentence for the user.
};

/// Whether the session offers a service, and why not.
using Availability = std::variant<Available, Unavailable>;
