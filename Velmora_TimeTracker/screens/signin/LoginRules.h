#pragma once

#include <QString>
#include <optional>

class APIError;

/// What the sign-in form asks of its fields. The e-mail is given trimmed, the password as typed.
namespace LoginRules {

bool isEmail(const QString& email);
/// The hint while typing; leaves empty fields alone.
std::optional<QString> clientValidationMessage(const QString& email, const QString& password);
/// What stops the sign-in at the press of the button.
std::optional<QString> validationError(const QString& email, const QString& password);
/// What is said when the sign-in failed: why nothing was sent, else `otherwise`.
QString failure(const APIError& error, const QString& otherwise);

} // namespace LoginRules
