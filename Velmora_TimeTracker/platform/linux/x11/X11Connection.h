#pragma once

#include <QByteArray>
#include <cstdlib>
#include <memory>
#include <optional>
#include <xcb/xcb.h>

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

/// An object allocated by xcb: a reply, an event or an error. Null if the server reported an error or is gone.
template <typename T>
using X11Reply = std::unique_ptr<T, FreeDeleter>;

/// A connection to the X server that DISPLAY names. Uses xcb, since Xlib ends the process when the server dies; here
/// every later operation fails. One thread at a time.
class X11Connection {
public:
    /// Absent if no server responds or it has no free client slot.
    static std::optional<X11Connection> open();

    xcb_connection_t* get() const { return connection_.get(); }
    int fileDescriptor() const { return xcb_get_file_descriptor(get()); }
    bool isAlive() const { return xcb_connection_has_error(get()) == 0; }
    const xcb_screen_t& screen() const { return *screen_; }
    bool has(xcb_extension_t& extension) const;

    /// Waits for the reply to a request, as in `reply(xcb_get_geometry_reply, xcb_get_geometry(...))`.
    template <typename Reply, typename Cookie>
    X11Reply<Reply> reply(Reply* (*wait)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie) const {
        xcb_generic_error_t* error = nullptr;
        X11Reply<Reply> answer(wait(get(), cookie, &error));
        const X11Reply<xcb_generic_error_t> discarded(error);
        return answer;
    }

    /// Waits for a checked request; false if the server refused it.
    bool succeeds(xcb_void_cookie_t cookie) const;

    /// Null if no event has arrived. Every client gets MappingNotify unrequested, so events must be fetched regularly
    /// or they accumulate.
    X11Reply<xcb_generic_event_t> nextEvent() const { return X11Reply<xcb_generic_event_t>(xcb_poll_for_event(get())); }

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };
    X11Connection(std::unique_ptr<xcb_connection_t, Disconnect> connection, const xcb_screen_t* screen)
        : connection_(std::move(connection))
        , screen_(screen) {}

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    const xcb_screen_t* screen_; ///< Part of the connection's setup data; its size is that at the time of connecting.
};
