#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>
#include <functional>

/// A modal question or notice. All texts are shown as plain text.
struct Alert {
    enum class Style { informational, warning };
    Style style = Style::informational;
    bool showsIcon = false; ///< Shows the program's logo, 64 points, in the palette's accent colour.
    QString message;
    QString informative; ///< Empty: none.
    QStringList buttons; ///< The first is the default.
    QString identifier;  ///< Empty: none.
};

/// Windows, alerts and links on the desktop. Main thread.
class Desktop {
public:
    virtual ~Desktop() = default;

    /// Shows the alert; calls `done` once with the index of the chosen button, unless it is withdrawn first. Closing a
    /// notice (one button) chooses that button; a question stays until a button is chosen.
    virtual void present(const Alert& alert, std::function<void(int button)> done) = 0;

    /// Closes the alert with that identifier, if any, without a choice.
    virtual void withdraw(const QString& identifier) = 0;

    /// Brings the application to the front.
    virtual void activate() = 0;

    /// Brings the first window that accepts keyboard input to the front; false if there is none.
    virtual bool bringWindowToFront() = 0;

    /// Opens an http or https URL in the browser; anything else is refused.
    virtual void open(const QUrl& url) = 0;

    /// Ends the event loop of the application.
    virtual void terminate() = 0;
};
