#pragma once

#include "platform/InputEventSource.h"
#include "platform/linux/x11/X11Connection.h"

#include <bitset>
#include <memory>
#include <optional>
#include <variant>
#include <vector>
#include <xcb/record.h>

/// The counted type of an X event. `type` is the core event type, `state` the mask of buttons held before it. Dragging
/// counts with the left or the right button only; releases, clicks and modifier keys never count.
std::optional<InputEventType> inputEventType(quint8 type, quint16 state, bool isModifierKey);

/// The events of one message from the server.
struct InputBatch {
    std::vector<InputEventType> events; ///< Those that count.
    bool hasMotion = false;             ///< Includes drags with a button that does not count.
    bool hasKey = false;
};

/// Reads all key presses and pointer motions by the RECORD extension: one connection carries the reports, another the
/// requests. One thread only.
class X11RecordStream {
public:
    /// Why there is no recording: the server does not support it, or currently refuses a connection.
    enum class Refusal { lasting, passing };
    static std::variant<std::unique_ptr<X11RecordStream>, Refusal> open();
    ~X11RecordStream();

    /// Readable if there may be data for `next` or `readControl`.
    int dataDescriptor() const { return data_.fileDescriptor(); }
    int controlDescriptor() const { return control_.fileDescriptor(); }

    bool isAlive() const { return !ended_ && data_.isAlive() && control_.isAlive(); }

    /// The next message, or null if none has arrived; valid until the next call. Reuses its memory, so that it does
    /// not allocate after the first message of usual size (32 events).
    const InputBatch* next();

    /// Reads the control connection.
    void readControl();

    /// Sends a small request: the server holds recorded data until it has something else to send.
    void nudge();

private:
    X11RecordStream(X11Connection control, X11Connection data);
    bool start();
    void readModifierKeys();
    void append(const xcb_key_press_event_t& event);

    X11Connection control_;
    X11Connection data_;
    unsigned int report_ = 0; ///< The sequence number that all messages of the report carry.
    bool ended_ = false;
    InputBatch batch_;              ///< The last message of `next`.
    std::bitset<256> modifierKeys_; ///< Indexed by keycode.
};
