#pragma once

#include <QString>
#include <variant>

struct Available {};
/// A permanent reason; a temporary failure does not make a service unavailable.
struct Unavailable {
    QString why; ///< One sentence for the user.
};

/// Whether the session offers a service, and the reason if it does not.
using Availability = std::variant<Available, Unavailable>;
