#include "model/AuthTokens.h"

#include "model/Json.h"

#include <cmath>

QByteArray encodeAuthTokens(const AuthTokens& tokens) {
    if (!std::isfinite(tokens.expiresAt.secondsSince2001) || !std::isfinite(tokens.refreshExpiresAt.secondsSince2001))
        return {};
    return Json::compact({
        {"accessToken", tokens.accessToken},
        {"refreshToken", tokens.refreshToken},
        {"expiresAt", tokens.expiresAt.secondsSince2001},
        {"refreshExpiresAt", tokens.refreshExpiresAt.secondsSince2001},
        {"expiresAtRaw", tokens.expiresAtRaw},
        {"refreshExpiresAtRaw", tokens.refreshExpiresAtRaw},
    });
}

std::optional<AuthTokens> decodeAuthTokens(const QByteArray& encoded) {
    const QJsonObject json = Json::object(encoded).value_or(QJsonObject());
    const auto accessToken = Json::string(json, "accessToken");
    const auto refreshToken = Json::string(json, "refreshToken");
    const auto expiresAt = Json::date(json, "expiresAt");
    const auto refreshExpiresAt = Json::date(json, "refreshExpiresAt");
    const auto expiresAtRaw = Json::string(json, "expiresAtRaw");
    const auto refreshExpiresAtRaw = Json::string(json, "refreshExpiresAtRaw");
    if (!accessToken || !refreshToken || !expiresAt || !refreshExpiresAt || !expiresAtRaw || !refreshExpiresAtRaw)
        return std::nullopt;
    return AuthTokens{*accessToken, *refreshToken, *expiresAt, *refreshExpiresAt, *expiresAtRaw, *refreshExpiresAtRaw};
}
