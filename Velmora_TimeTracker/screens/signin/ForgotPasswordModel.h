#pragma once

#include "platform/Task.h"
#include "screens/signin/Cooldown.h"

#include <QObject>
#include <QString>
#include <optional>

class AuthService;

/// The screen that requests a link for a new password. Main thread.
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

    /// Resets the screen.
    void open(const QString& initialEmail);
    /// Leaves the screen; a pending reply is dropped.
    void close();
    void setEmail(const QString& email);
    Task<> sendResetLink();

Q_SIGNALS:
    void changed();

private:
    AuthService& auth_;
    int visit_ = 0; ///< Incremented when the screen is left, to recognise late replies.
    QString email_;
    bool isSending_ = false;
    std::optional<QString> statusMessage_;
    bool statusIsError_ = false;
    bool didSendSuccessfully_ = false;
    Cooldown resendCooldown_;
};
