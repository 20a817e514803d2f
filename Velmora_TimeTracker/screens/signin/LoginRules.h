#pragma once

#include <QString>
#include <optional>

class APIError;

/// Validation of the sign-in form. The e-mail is passed trimmed, the password as typed.
namespace LoginRules {

bool isEmail(const QString& email);
/// The hint while typing; empty fields give none.
std::optional<QString> clientValidationMessage(const QString& email, const QString& password);
/// The error that prevents the sign-in; absent if the fields are valid.
std::optional<QString> validationError(const QString& email, const QString& password);
/// The message of a failed request: why nothing was sent, else `otherwise`.
QString failure(const APIError& error, const QString& otherwise);

} // namespace LoginRules
