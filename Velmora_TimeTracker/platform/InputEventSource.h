#pragma once

#include <QtGlobal>
#include <functional>
#include <memory>

/// What happened, and nothing else: no key, no position. The numbers are the platform-neutral event codes of the
/// counters; events of other kinds are never delivered.
enum class InputEventType : quint32 {
    mouseMoved = 5,
    leftMouseDragged = 6,
    rightMouseDragged = 7,
    keyDown = 10,                     ///< Also each repeat of a held key.
    disabledByTimeout = 0xFFFFFFFE,   ///< Switched off because a handler was slow.
    disabledByUserInput = 0xFFFFFFFF, ///< Switched off for another reason, a lost connection say.
};

/// An open listener on system-wide input. Destroying it ends it: no handler runs after the destructor returned.
class InputEventTap {
public:
    virtual ~InputEventTap() = default;
    /// Switches the tap on again after one of the two disabled events. May be called from the handler.
    virtual void enable() = 0;
};

class InputEventSource {
public:
    /// Called once for each event, on the tap's own thread "com.velmora.timetracker.activity.tap".
    using Handler = std::function<void(InputEventType)>;

    virtual ~InputEventSource() = default;

    /// Null when this session offers no input events.
    virtual std::unique_ptr<InputEventTap> openTap(Handler handler) = 0;
};
