#pragma once

#include <QString>

namespace backend {

/// 32 bytes from the system's generator, in hexadecimal.
QString randomToken();
/// Six decimal digits from the system's generator.
QString randomCode();
/// SHA-256 in lower-case hexadecimal.
QString digestOf(const QByteArray& bytes);

} // namespace backend
