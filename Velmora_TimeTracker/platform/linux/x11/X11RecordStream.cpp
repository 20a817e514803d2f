#include "platform/linux/x11/X11RecordStream.h"

#include <algorithm>
#include <xcb/xcbext.h>

namespace {
constexpr quint16 leftButton = XCB_BUTTON_MASK_1;
constexpr quint16 rightButton = XCB_BUTTON_MASK_3;
constexpr quint16 otherButtons = XCB_BUTTON_MASK_2 | XCB_BUTTON_MASK_4 | XCB_BUTTON_MASK_5;

/// Categories of the report's messages; the extension names them in its protocol text only.
constexpr quint8 fromServer = 0;
constexpr quint8 startOfData = 4;
constexpr quint8 endOfData = 5;
} // namespace

std::optional<InputEventType> inputEventType(quint8 type, quint16 state, bool isModifierKey) {
    if (type == XCB_KEY_PRESS && !isModifierKey)
        return InputEventType::keyDown;
    if (type != XCB_MOTION_NOTIFY)
        return std::nullopt;
    if (state & leftButton)
        return InputEventType::leftMouseDragged;
    if (state & rightButton)
        return InputEventType::rightMouseDragged;
    if (state & otherButtons)
        return std::nullopt;
    return InputEventType::mouseMoved;
}

std::variant<std::unique_ptr<X11RecordStream>, X11RecordStream::Refusal> X11RecordStream::open() {
    auto control = X11Connection::open();
    auto data = X11Connection::open();
    if (!control || !data)
        return Refusal::passing;
    std::unique_ptr<X11RecordStream> stream(new X11RecordStream(std::move(*control), std::move(*data)));
    if (stream->start())
        return stream;
    return stream->isAlive() ? Refusal::lasting : Refusal::passing;
}

X11RecordStream::X11RecordStream(X11Connection control, X11Connection data)
    : control_(std::move(control))
    , data_(std::move(data)) {}

X11RecordStream::~X11RecordStream() = default;

bool X11RecordStream::start() {
    if (!control_.has(xcb_record_id))
        return false;
    control_.reply(xcb_record_query_version_reply, xcb_record_query_version(control_.get(), 1, 13));
    const xcb_record_context_t context = xcb_generate_id(control_.get());
    const xcb_record_client_spec_t clients = XCB_RECORD_CS_ALL_CLIENTS;
    xcb_record_range_t ranges[2] = {};
    ranges[0].device_events = {XCB_KEY_PRESS, XCB_KEY_PRESS};
    ranges[1].device_events = {XCB_MOTION_NOTIFY, XCB_MOTION_NOTIFY};
    if (!control_.succeeds(xcb_record_create_context_checked(control_.get(), context, 0, 1, 2, &clients, ranges)))
        return false;
    readModifierKeys();

    const auto cookie = xcb_record_enable_context(data_.get(), context);
    report_ = cookie.sequence;
    const auto first = data_.reply(xcb_record_enable_context_reply, cookie);
    return first && first->category == startOfData && isAlive();
}

const InputBatch* X11RecordStream::next() {
    void* reply = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (ended_ || !xcb_poll_for_reply(data_.get(), report_, &reply, &error))
        return nullptr;
    const X11Reply<xcb_generic_error_t> discarded(error);
    using Message = xcb_record_enable_context_reply_t;
    const X11Reply<Message> message(static_cast<Message*>(reply));
    if (!message || message->category == endOfData) {
        ended_ = true;
        return nullptr;
    }

    batch_.events.clear();
    batch_.hasMotion = batch_.hasKey = false;
    if (message->category == fromServer) {
        const auto* bytes = xcb_record_enable_context_data(message.get());
        const auto* events = reinterpret_cast<const xcb_key_press_event_t*>(bytes);
        const auto length = size_t(xcb_record_enable_context_data_length(message.get()));
        std::for_each_n(events, length / sizeof *events, [this](const auto& event) { append(event); });
    }
    return &batch_;
}

/// The only place that reads a keycode: it is compared with the modifier keys and not stored. Key presses and motions
/// have the same layout.
void X11RecordStream::append(const xcb_key_press_event_t& event) {
    const quint8 type = event.response_type & 0x7F;
    const bool isModifierKey = type == XCB_KEY_PRESS && modifierKeys_[event.detail];
    batch_.hasMotion |= type == XCB_MOTION_NOTIFY;
    batch_.hasKey |= type == XCB_KEY_PRESS && !isModifierKey;
    if (const auto counted = inputEventType(type, event.state, isModifierKey))
        batch_.events.push_back(*counted);
}

void X11RecordStream::readControl() {
    bool mappingChanged = false;
    while (const auto event = control_.nextEvent())
        mappingChanged |= (event->response_type & 0x7F) == XCB_MAPPING_NOTIFY;
    while (data_.nextEvent()) {
        // Every connection gets MappingNotify events; unread ones would accumulate.
    }
    if (mappingChanged)
        readModifierKeys();
}

void X11RecordStream::readModifierKeys() {
    const auto mapping = control_.reply(xcb_get_modifier_mapping_reply, xcb_get_modifier_mapping(control_.get()));
    if (!mapping)
        return;
    modifierKeys_.reset();
    const auto* keycodes = xcb_get_modifier_mapping_keycodes(mapping.get());
    for (int i = 0; i < xcb_get_modifier_mapping_keycodes_length(mapping.get()); ++i)
        modifierKeys_.set(keycodes[i]);
    modifierKeys_.reset(0); // 0 fills the unused places of the table.
}

void X11RecordStream::nudge() {
    const auto cookie = xcb_get_input_focus_unchecked(control_.get());
    xcb_discard_reply(control_.get(), cookie.sequence);
    xcb_flush(control_.get());
}
