#pragma once

#include "backend/Database.h"

#include <map>

namespace backend {

struct TokenPair {
    QString access;
    QString refresh;
    qint64 accessExpiresAt = 0;
    qint64 refreshExpiresAt = 0;
};

/// Bearer tokens. Only their digests are stored. Times are unix seconds.
class Tokens {
public:
    explicit Tokens(Database& keptIn)
        : database(keptIn) {}

    TokenPair issue(const QString& user, qint64 now, qint64 accessSeconds, qint64 refreshSeconds);
    /// The account that the access token stands for; a Refusal 401 when it is unknown or expired.
    QString userOf(const QString& access, qint64 now) const;
    /// The account of a refresh token, which is used up together with its access token; else a Refusal 401.
    QString redeem(const QString& refresh, qint64 now);
    void revoke(const QString& access);
    /// Lets all access tokens expire, and the refresh tokens too when asked.
    void expireAll(bool refreshTokensToo);

private:
    Database& database;
};

/// Six-digit codes for sign-in: one per address, good once, for ten minutes and five attempts.
class OneTimeCodes {
public:
    QString issue(const QString& email, qint64 now);
    QString current(const QString& email) const;
    bool redeem(const QString& email, const QString& code, qint64 now);

private:
    struct Pending {
        QString code;
        qint64 expiresAt;
        int attemptsLeft;
    };
    std::map<QString, Pending> pending;
};

} // namespace backend
