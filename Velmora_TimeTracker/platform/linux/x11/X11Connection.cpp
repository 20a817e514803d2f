#include "platform/linux/x11/X11Connection.h"

#include <mutex>

std::optional<X11Connection> X11Connection::open() {
    const QByteArray display = qgetenv("DISPLAY");
    // libXau keeps the name of the authority file in a static buffer.
    static std::mutex connecting;
    std::unique_lock guard(connecting);
    int screenNumber = 0;
    std::unique_ptr<xcb_connection_t, Disconnect> connection(xcb_connect(display.constData(), &screenNumber));
    guard.unlock();
    if (xcb_connection_has_error(connection.get()) != 0)
        return std::nullopt;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
    for (; screenNumber > 0 && screens.rem > 1; --screenNumber)
        xcb_screen_next(&screens);
    return X11Connection(std::move(connection), screens.data);
}

bool X11Connection::has(xcb_extension_t& extension) const {
    const auto* data = xcb_get_extension_data(get(), &extension);
    return data && data->present;
}

bool X11Connection::succeeds(xcb_void_cookie_t cookie) const {
    const X11Reply<xcb_generic_error_t> error(xcb_request_check(get(), cookie));
    return !error && isAlive();
}
