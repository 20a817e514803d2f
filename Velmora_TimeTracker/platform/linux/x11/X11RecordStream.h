#pragma once

#include "platform/InputEventSource.h"
#include "platform/linux/x11/X11Connection.h"

#include <bitset>
#include <memory>
#include <optional>
#include <variant>
#include <vector>
#include <xcb/record.h>

/// How an X event counts. `type` is the core event type, `state` the mask of buttons held before it. Dragging
/// counts with the left or the right button only; releases, clicks and modifier keys never count.
std::optional<InputEventType> inputEventType(quint8 type, quint16 state, bool isModifierKey);

/// What one message of the server told.
struct InputBatch {
    std::vector<InputEventType> events; ///< Those that count.
    bool hasMotion = false;             ///< Also by dragging with a button that does not count.
    bool hasKey = false;
};

/// The server's report of all key presses and pointer motions, by the RECORD extension: one connection
/// carries the report, another the requests. One thread only.
class X11RecordStream {
public:
    /// Why there is no recording: the server does not offer it, or takes no connection at present.
    enum class Refusal { lasting, passing };
    static std::variant<std::unique_ptr<X11RecordStream>, Refusal> open();
    ~X11RecordStream();

    /// Readable when there may be something for `next`, or for `readControl`.
    int dataDescriptor() const { return data_.fileDescriptor(); }
    int controlDescriptor() const { return control_.fileDescriptor(); }

    bool isAlive() const { return !ended_ && data_.isAlive() && control_.isAlive(); }

    /// The next message, or null when none has arrived; valid until the next call. Allocates nothing of ours
    /// once a message of the usual size, 32 events, was seen.
    const InputBatch* next();

    /// Fetches what came on the control connection.
    void readControl();

    /// The server holds what it recorded until it has something else to send, so ask it for a trifle now and
    /// then.
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
    InputBatch batch_;              ///< The message that `next` gave last.
    std::bitset<256> modifierKeys_; ///< By keycode.
};
