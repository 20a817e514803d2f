#pragma once

#include <QByteArray>
#include <QRect>
#include <cstdlib>
#include <memory>
#include <vector>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

/// A second X client that acts as the user, and paints the screen.
class X11TestClient {
public:
    static constexpr uint8_t keyA = 38, keyShift = 50;

    explicit X11TestClient(const QByteArray& display)
        : connection_(xcb_connect(display.constData(), nullptr), &xcb_disconnect) {
        // Load the extension now, so that later requests go out without a question in between.
        xcb_get_extension_data(connection_.get(), &xcb_test_id);
    }

    void press(uint8_t key = keyA) { fake(XCB_KEY_PRESS, key); }
    void stroke(uint8_t key = keyA) {
        press(key);
        fake(XCB_KEY_RELEASE, key);
    }
    /// To a place where the pointer was not before, so that each call is one motion.
    void move() {
        step_ = (step_ + 1) % 500;
        fake(XCB_MOTION_NOTIFY, 0, int16_t(step_ + 1), int16_t(step_ + 2));
    }
    void click(uint8_t button, bool dragging = false) {
        fake(XCB_BUTTON_PRESS, button);
        if (dragging)
            move();
        fake(XCB_BUTTON_RELEASE, button);
    }
    /// Returns when the server has done all of it.
    void sync() {
        std::free(xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
    }

    /// Paints a part of the root window; `colour(x, y)` gives 0xRRGGBB at a place of the screen.
    template <typename Colour>
    void paint(const QRect& area, Colour colour) {
        const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(connection_.get())).data;
        const xcb_gcontext_t context = xcb_generate_id(connection_.get());
        xcb_create_gc(connection_.get(), context, screen.root, 0, nullptr);
        std::vector<uint32_t> row(size_t(area.width()));
        for (int y = area.top(); y <= area.bottom(); ++y) {
            for (int x = area.left(); x <= area.right(); ++x)
                row[size_t(x - area.left())] = colour(x, y);
            xcb_put_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, screen.root, context, uint16_t(row.size()), 1,
                          int16_t(area.left()), int16_t(y), 0, screen.root_depth, uint32_t(row.size() * 4),
                          reinterpret_cast<const uint8_t*>(row.data()));
        }
        sync();
    }

private:
    /// Waits for the server now and then: flooded by thousands of events at once, Xvfb itself loses some on
    /// their way to a client that records.
    void fake(uint8_t type, uint8_t detail, int16_t x = 0, int16_t y = 0) {
        xcb_test_fake_input(connection_.get(), type, detail, XCB_CURRENT_TIME, XCB_NONE, x, y, 0);
        if (++fakeCount_ % 20 == 0)
            sync();
    }

    std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection_;
    int step_ = 0;
    int fakeCount_ = 0;
};

/// As many clients as the server takes.
class X11Crowd {
public:
    explicit X11Crowd(const QByteArray& display) {
        do
            clients_.emplace_back(xcb_connect(display.constData(), nullptr), &xcb_disconnect);
        while (xcb_connection_has_error(clients_.back().get()) == 0);
    }

private:
    std::vector<std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>> clients_;
};
