#pragma once

#include "platform/DisplaySource.h"
#include "platform/linux/x11/X11Connection.h"

#include <QRect>
#include <memory>
#include <variant>
#include <vector>
#include <xcb/shm.h>

/// Shared memory that the X server writes pictures into. It grows to the largest requested strip and is reused,
/// because page faults of new memory cost more than the picture itself.
class X11SharedMemory {
public:
    explicit X11SharedMemory(const X11Connection& connection);
    ~X11SharedMemory();
    X11SharedMemory(const X11SharedMemory&) = delete;
    X11SharedMemory& operator=(const X11SharedMemory&) = delete;

    /// Provides that many bytes; false if the server cannot share memory.
    bool reserve(size_t size);
    xcb_shm_seg_t segment() const { return segment_; }
    const uint8_t* data() const { return static_cast<const uint8_t*>(memory_); }

private:
    void release();

    const X11Connection& connection_;
    bool isOffered_;
    xcb_shm_seg_t segment_ = 0;
    void* memory_ = nullptr;
    size_t size_ = 0;
};

struct X11Monitor {
    xcb_atom_t id = 0; ///< The monitor's name; 0 for a whole screen without monitors.
    QRect area;        ///< Within the screen, in pixels.
};

/// Reads parts of the screen. One thread at a time.
class X11ScreenReader {
public:
    static std::variant<std::unique_ptr<X11ScreenReader>, DisplayError> open();

    bool isAlive() const { return connection_.isAlive(); }

    /// The active monitors, mirrored ones once, sorted by left edge, then by top edge. Absent if the server does not
    /// respond.
    std::optional<std::vector<X11Monitor>> monitors();

    /// The pixels of a part, blue, green, red and an unused byte each, rows without padding. Valid until the next
    /// call; null if the part exceeds the screen or the server is gone.
    const uint8_t* read(const QRect& area);

private:
    explicit X11ScreenReader(X11Connection connection);
    const uint8_t* readShared(const QRect& area);
    const uint8_t* readCopied(const QRect& area);

    X11Connection connection_;
    X11SharedMemory memory_;
    X11Reply<xcb_get_image_reply_t> copied_;
};
