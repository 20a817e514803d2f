#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

/// Keeps secrets out of everything that is logged. Pure; any thread.
namespace LogRedactor {

/// Replaces the string values of sensitive JSON keys, and bearer tokens.
QString redact(const QString& text);

/// A payload made safe and short for the log: pretty-printed when it is JSON, else as text, else named by its
/// size; redacted; cut to `maxChars` user-perceived characters. "nil" for absent data.
QString stringifyJSONorText(const std::optional<QByteArray>& data, int maxChars);

} // namespace LogRedactor
