#pragma once

#include "platform/Task.h"
#include "screens/signin/Cooldown.h"

#include <QObject>
#include <QString>
#include <optional>

class AuthService;

/// The screen that asks for a link to set a new password. Main thread.
class ForgotPasswordModel : public QObject {
    Q_OBJECT

public:
    ForgotPasswordModel(AuthService& auth, Executor& main);

    const QString& email() const { return email_; }
    const std::optional<QString>& statusMessage() const { return statusMessage_; }
    bool statusIsError() const { return statusIsError_; }
    bool didSendSuccessfully() const { return didSendSuccessfully_; }
    bool isSending() const { return isSending_; }
    bool canSend() const;
    QString buttonTitle() const;

    /// The screen opens anew.
    void open(const QString& initialEmail);
    /// A reply that is under way then is dropped.
    void close();
    void setEmail(const QString& email);
    Task<> sendResetLink();

Q_SIGNALS:
    void changed();

private:
    AuthService& auth_;
    int visit_ = 0; ///< Counts the times that the screen was left.
    QString email_;
    bool isSending_ = false;
    std::optional<QString> statusMessage_;
    bool statusIsError_ = false;
    bool didSendSuccessfully_ = false;
    Cooldown resendCooldown_;
};
