#pragma once

#include <QtGlobal>
#include <functional>
#include <memory>

/// The type of an input event; key and position are never delivered. The numbers are platform-neutral event codes;
/// other events are not delivered.
enum class InputEventType : quint32 {
    mouseMoved = 5,
    leftMouseDragged = 6,
    rightMouseDragged = 7,
    keyDown = 10,                     ///< Includes each repeat of a held key.
    disabledByTimeout = 0xFFFFFFFE,   ///< Disabled because a handler was slow.
    disabledByUserInput = 0xFFFFFFFF, ///< Disabled for another reason, for instance a lost connection.
};

/// An open listener on system-wide input. No handler runs after the destructor has returned.
class InputEventTap {
public:
    virtual ~InputEventTap() = default;
    /// Enables the tap again after one of the two disabled events. May be called from the handler.
    virtual void enable() = 0;
};

class InputEventSource {
public:
    /// Called once for each event, on the tap's own thread "com.velmora.timetracker.activity.tap".
    using Handler = std::function<void(InputEventType)>;

    virtual ~InputEventSource() = default;

    /// Null if the session offers no input events.
    virtual std::unique_ptr<InputEventTap> openTap(Handler handler) = 0;
};
