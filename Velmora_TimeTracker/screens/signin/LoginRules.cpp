#include "screens/signin/LoginRules.h"

#include "server/APIError.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {
constexpr int shortestPassword = 4;
const QString badEmail = u"Invalid email format."_s;
const QString shortPassword = u"Password must be at least 4 characters."_s;
} // namespace

bool LoginRules::isEmail(const QString& email) {
    static const QRegularExpression form(u"\\A[A-Z0-9._%+-]+@[A-Z0-9.-]+\\.[A-Z]{2,}\\z"_s,
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
        return u"Email cannot be empty."_s;
    if (!isEmail(email))
        return badEmail;
    if (password.isEmpty())
        return u"Password cannot be empty."_s;
    return clientValidationMessage(email, password);
}

QString LoginRules::failure(const APIError& error, const QString& otherwise) {
    const auto& cause = error.underlying();
    if (cause && cause->code() == URLError::Code::insecureConnection)
        return u"The server's address is not secure (http, not https). Nothing was sent to it."_s;
    if (cause && cause->code() == URLError::Code::dataNotAllowed)
        return u"The keyring does not answer. Unlock it and try again."_s;
    return otherwise;
}
