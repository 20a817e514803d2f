#pragma once

#include "model/AuthTokens.h"

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

/// The bodies of the sign-in calls. Decoders return nothing for an invalid body.

struct LoginRequest {
    QString email;
    QString password; ///< Or the one-time code, when `isOtp`.
    int rememberMe = 1;
    int useJwt = 1;
    std::optional<int> isOtp;
};
QByteArray encode(const LoginRequest& request);

/// Token texts as the server sends them, before their dates are parsed.
struct TokenTexts {
    QString accessToken;
    QString refreshToken;
    QString expiresAt;
    QString refreshExpiresAt;
};

struct SingleLoginData {
    std::optional<qint64> otpRequired;
    std::optional<LoginUser> user;
    std::optional<QString> initEndpoint;
    std::optional<std::vector<LoginCompany>> companies;
    std::optional<TokenTexts> nestedData;
    std::optional<QString> accessToken;
    std::optional<QString> refreshToken;
    std::optional<QString> expiresAt;
    std::optional<QString> refreshExpiresAt;

    /// The nested tokens, else the four flat fields if all are present.
    std::optional<TokenTexts> tokens() const;
};
std::optional<SingleLoginData> decodeSingleLoginResponse(const QByteArray& json);

struct RefreshResponseData {
    QString accessToken;
    std::optional<QString> refreshToken;
    QString expiresAt;
    std::optional<QString> refreshExpiresAt;
};
/// Accepts a doubly wrapped reply first, then a singly wrapped one.
std::optional<RefreshResponseData> decodeRefreshResponse(const QByteArray& json);
