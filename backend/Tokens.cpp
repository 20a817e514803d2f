#include "backend/Tokens.h"

#include "backend/Refusal.h"
#include "backend/Secrets.h"

using namespace Qt::StringLiterals;

namespace backend {

TokenPair Tokens::issue(const QString& user, qint64 now, qint64 accessSeconds, qint64 refreshSeconds) {
    const TokenPair pair{.access = randomToken(),
                         .refresh = randomToken(),
                         .accessExpiresAt = now + accessSeconds,
                         .refreshExpiresAt = now + refreshSeconds};
    Statement(database,
              "INSERT INTO tokens (access_digest, refresh_digest, user, access_expires_at, refresh_expires_at) "
              "VALUES (?, ?, ?, ?, ?)",
              digestOf(pair.access.toUtf8()), digestOf(pair.refresh.toUtf8()), user, pair.accessExpiresAt,
              pair.refreshExpiresAt)
        .run();
    return pair;
}

QString Tokens::userOf(const QString& access, qint64 now) const {
    Statement row(database, "SELECT user, access_expires_at FROM tokens WHERE access_digest = ?",
                  digestOf(access.toUtf8()));
    if (!row.next())
        throw Refusal{401, u"The access token is unknown or was revoked."_s};
    if (row.integer(1) <= now)
        throw Refusal{401, u"The access token has expired."_s};
    return row.text(0);
}

QString Tokens::redeem(const QString& refresh, qint64 now) {
    Statement row(database, "DELETE FROM tokens WHERE refresh_digest = ? RETURNING user, refresh_expires_at",
                  digestOf(refresh.toUtf8()));
    if (!row.next())
        throw Refusal{401, u"The refresh token is unknown or was used already."_s};
    const QString user = row.text(0);
    const qint64 expiresAt = row.integer(1);
    row.run();
    if (expiresAt <= now)
        throw Refusal{401, u"The refresh token has expired."_s};
    return user;
}

void Tokens::revoke(const QString& access) {
    Statement(database, "DELETE FROM tokens WHERE access_digest = ?", digestOf(access.toUtf8())).run();
}

void Tokens::expireAll(bool refreshTokensToo) {
    database.execute("UPDATE tokens SET access_expires_at = 0");
    if (refreshTokensToo)
        database.execute("UPDATE tokens SET refresh_expires_at = 0");
}

QString OneTimeCodes::issue(const QString& email, qint64 now) {
    const Pending fresh{.code = randomCode(), .expiresAt = now + 600, .attemptsLeft = 5};
    pending.insert_or_assign(email, fresh);
    return fresh.code;
}

QString OneTimeCodes::current(const QString& email) const {
    const auto found = pending.find(email);
    return found == pending.end() ? QString() : found->second.code;
}

bool OneTimeCodes::redeem(const QString& email, const QString& code, qint64 now) {
    const auto found = pending.find(email);
    if (found == pending.end())
        return false;
    const bool right = found->second.code == code && now < found->second.expiresAt;
    if (right || --found->second.attemptsLeft == 0)
        pending.erase(found);
    return right;
}

} // namespace backend
