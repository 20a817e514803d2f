#pragma once

#include <QByteArray>
#include <QString>

/// The desktop's keyring: one secret per service and account. Calls are synchronous and may block for as long as the
/// user takes to answer an unlock prompt: never call it on the main thread. Safe to call from any other thread.
class SecretStore {
public:
    enum class Status {
        success,
        missing, ///< The store has no such item.
        locked,  ///< The item may exist, but the keyring is locked and was not unlocked.
        failed,  ///< The store could not be reached.
        absent,  ///< The session has no store and none can be started; one may appear later.
    };
    enum class WhenLocked {
        askToUnlock, ///< Show the unlock prompt and wait for the answer.
        giveUp,      ///< Return `locked` at once.
    };
    struct ReadResult {
        Status status = Status::failed;
        QByteArray value;
    };

    virtual ~SecretStore() = default;

    virtual ReadResult read(const QString& service, const QString& account, WhenLocked whenLocked) = 0;
    virtual Status remove(const QString& service, const QString& account) = 0;
    virtual Status add(const QString& service, const QString& account, const QByteArray& value) = 0;
};
