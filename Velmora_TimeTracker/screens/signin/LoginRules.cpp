#include "screens/signin/LoginRules.h"

#include "server/APIError.h"

#include <QRegularExpression>

namespace {
constexpr int shortestPassword = 4;
const QString badEmail = QStringLiteral("Invalid email format.");
const QString shortPassword = QStringLiteral("Password must be at least 4 characters.");
} // namespace

bool LoginRules::isEmail(const QString& email) {
    static const QRegularExpression form(QStringLiteral("\\A[A-Z0-9._%+-]+@[A-Z0-9.-]+\\.[A-Z]{2,}\\z"),
                                         QRegularExpression::CaseInsensitiveOption);
    return form.match(email).hasMatch();
}

std::optional<QString> LoginRules::clientValidationMessage(const QString& email, const QString& password) {
    if (!email.isEmpty() && !isEmail(email))
        return badEmail;
    if (!password.isEmpty() && password.toUcs4().size() < shortestPassword)
        return shortPassword;
    return std::nullopt;
}

std::optional<QString> LoginRules::validationError(const QString& email, const QString& password) {
    if (email.isEmpty())
        return QStringLiteral("Email cannot be empty.");
    if (!isEmail(email))
        return badEmail;
    if (password.isEmpty())
        return QStringLiteral("Password cannot be empty.");
    return clientValidationMessage(email, password);
}

QString LoginRules::failure(const APIError& error, const QString& otherwise) {
    const auto& cause = error.underlying();
    if (cause && cause->code() == URLError::Code::insecureConnection)
        return QStringLiteral(
            "The server's address is not secure (http, not https). Nothing was sent to it.");
    if (cause && cause->code() == URLError::Code::dataNotAllowed)
        return QStringLiteral("The keyring does not answer. Unlock it and try again.");
    return otherwise;
}
