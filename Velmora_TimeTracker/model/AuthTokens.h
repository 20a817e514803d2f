#pragma once

#include "platform/Date.h"

#include <QByteArray>
#include <QString>
#include <optional>
#include <variant>
#include <vector>

/// The stored token set. Lives in the secret store only; must never be logged.
struct AuthTokens {
    QString accessToken;
    QString refreshToken;
    Date expiresAt;
    Date refreshExpiresAt;
    QString expiresAtRaw;
    QString refreshExpiresAtRaw;

    friend bool operator==(const AuthTokens&, const AuthTokens&) = default;
};

/// Dates as seconds since 2001. Empty when a date is not finite.
QByteArray encodeAuthTokens(const AuthTokens& tokens);
/// Absent when one of the six keys is missing or has another type.
std::optional<AuthTokens> decodeAuthTokens(const QByteArray& encoded);

struct LoginCompany {
    QString name;
    QString endpoint;

    friend bool operator==(const LoginCompany&, const LoginCompany&) = default;
};

struct LoginUser {
    QString email;
    std::optional<QString> name;

    friend bool operator==(const LoginUser&, const LoginUser&) = default;
};

/// The three outcomes of a sign-in. Its tokens are stored when the company is known.
struct OtpRequired {
    QString email;
    QString userEmail;
};
struct CompanySelection {
    std::vector<LoginCompany> companies;
    QString userName;
    AuthTokens tokens;
};
struct DirectConfig {
    AuthTokens tokens;
    std::optional<LoginUser> user;
};
using SingleLoginResult = std::variant<OtpRequired, CompanySelection, DirectConfig>;
