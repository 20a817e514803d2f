#include "platform/linux/x11/X11ScreenReader.h"

#include <algorithm>
#include <sys/mman.h>
#include <sys/socket.h>
#include <tuple>
#include <unistd.h>
#include <xcb/randr.h>

using namespace Qt::StringLiterals;

namespace {

constexpr uint32_t allPlanes = ~0U;

size_t byteCount(const QRect& area) {
    return size_t(area.width()) * size_t(area.height()) * 4;
}

/// Shared memory needs descriptor passing, which a network connection does not support.
bool isLocal(int socket) {
    int domain = 0;
    socklen_t length = sizeof domain;
    return getsockopt(socket, SOL_SOCKET, SO_DOMAIN, &domain, &length) == 0 && domain == AF_UNIX;
}

bool offersSharedMemory(const X11Connection& connection) {
    if (!isLocal(connection.fileDescriptor()) || !connection.has(xcb_shm_id))
        return false;
    const auto version = connection.reply(xcb_shm_query_version_reply, xcb_shm_query_version(connection.get()));
    return version && (version->major_version > 1 || version->minor_version >= 2);
}

const xcb_visualtype_t* findVisual(const xcb_screen_t& screen) {
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem; xcb_depth_next(&depth))
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem; xcb_visualtype_next(&visual))
            if (visual.data->visual_id == screen.root_visual)
                return visual.data;
    return nullptr;
}

int bitsPerPixel(const xcb_setup_t& setup, int depth) {
    for (auto format = xcb_setup_pixmap_formats_iterator(&setup); format.rem; xcb_format_next(&format))
        if (format.data->depth == depth)
            return format.data->bits_per_pixel;
    return 0;
}

/// True if a pixel of the screen consists of the bytes blue, green, red and one unused.
bool isBgrx(const X11Connection& connection) {
    const xcb_setup_t& setup = *xcb_get_setup(connection.get());
    const xcb_screen_t& screen = connection.screen();
    const auto* visual = findVisual(screen);
    return setup.image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST && bitsPerPixel(setup, screen.root_depth) == 32 &&
           visual && visual->red_mask == 0xFF0000 && visual->green_mask == 0x00FF00 && visual->blue_mask == 0x0000FF;
}

/// Sorts the monitors, since the server's order may change with the wiring. Mirrored outputs become one, with the
/// smallest name.
void sortAndUnite(std::vector<X11Monitor>& monitors) {
    const auto place = [](const X11Monitor& monitor) {
        const QRect& area = monitor.area;
        return std::tuple(area.x(), area.y(), area.width(), area.height());
    };
    std::sort(monitors.begin(), monitors.end(), [&](const X11Monitor& a, const X11Monitor& b) {
        return std::pair(place(a), a.id) < std::pair(place(b), b.id);
    });
    const auto sameArea = [](const X11Monitor& a, const X11Monitor& b) { return a.area == b.area; };
    monitors.erase(std::unique(monitors.begin(), monitors.end(), sameArea), monitors.end());
}

} // namespace

X11SharedMemory::X11SharedMemory(const X11Connection& connection)
    : connection_(connection)
    , isOffered_(offersSharedMemory(connection)) {}

X11SharedMemory::~X11SharedMemory() {
    release();
}

void X11SharedMemory::release() {
    if (!memory_)
        return;
    xcb_shm_detach(connection_.get(), segment_);
    munmap(memory_, size_);
    memory_ = nullptr;
    size_ = 0;
}

bool X11SharedMemory::reserve(size_t size) {
    if (!isOffered_ || size <= size_)
        return isOffered_;
    release();
    isOffered_ = false; // Set to true again on success.
    const int descriptor = memfd_create("screen strip", MFD_CLOEXEC);
    if (descriptor < 0)
        return false;
    if (ftruncate(descriptor, off_t(size)) == 0)
        memory_ = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
    if (!memory_ || memory_ == MAP_FAILED) {
        memory_ = nullptr;
        close(descriptor);
        return false;
    }
    size_ = size;
    segment_ = xcb_generate_id(connection_.get());
    // xcb closes the descriptor once it is sent.
    isOffered_ = connection_.succeeds(xcb_shm_attach_fd_checked(connection_.get(), segment_, descriptor, false));
    if (!isOffered_)
        release();
    return isOffered_;
}

std::variant<std::unique_ptr<X11ScreenReader>, DisplayError> X11ScreenReader::open() {
    auto connection = X11Connection::open();
    if (!connection)
        return DisplayError{u"The X server takes no connection"_s, false};
    if (!isBgrx(*connection))
        return DisplayError{
            u"The pixel format of this X screen (depth %1) cannot be read"_s.arg(connection->screen().root_depth)};
    return std::unique_ptr<X11ScreenReader>(new X11ScreenReader(std::move(*connection)));
}

X11ScreenReader::X11ScreenReader(X11Connection connection)
    : connection_(std::move(connection))
    , memory_(connection_) {}

std::optional<std::vector<X11Monitor>> X11ScreenReader::monitors() {
    while (connection_.nextEvent()) {
    }
    const xcb_window_t root = connection_.screen().root;
    const auto geometry = connection_.reply(xcb_get_geometry_reply, xcb_get_geometry(connection_.get(), root));
    if (!geometry)
        return std::nullopt;
    const QRect screen(0, 0, geometry->width, geometry->height);

    constexpr bool activeOnly = true;
    const auto reply = connection_.has(xcb_randr_id)
                           ? connection_.reply(xcb_randr_get_monitors_reply,
                                               xcb_randr_get_monitors(connection_.get(), root, activeOnly))
                           : nullptr;
    if (!reply)
        return isAlive() ? std::optional(std::vector{X11Monitor{0, screen}}) : std::nullopt;

    std::vector<X11Monitor> monitors;
    for (auto each = xcb_randr_get_monitors_monitors_iterator(reply.get()); each.rem;
         xcb_randr_monitor_info_next(&each)) {
        const auto& monitor = *each.data;
        const QRect area = QRect(monitor.x, monitor.y, monitor.width, monitor.height) & screen;
        if (!area.isEmpty())
            monitors.push_back({monitor.name, area});
    }
    sortAndUnite(monitors);
    return monitors;
}

const uint8_t* X11ScreenReader::read(const QRect& area) {
    return memory_.reserve(byteCount(area)) ? readShared(area) : readCopied(area);
}

const uint8_t* X11ScreenReader::readShared(const QRect& area) {
    const auto reply = connection_.reply(
        xcb_shm_get_image_reply, xcb_shm_get_image(connection_.get(), connection_.screen().root, int16_t(area.x()),
                                                   int16_t(area.y()), uint16_t(area.width()), uint16_t(area.height()),
                                                   allPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP, memory_.segment(), 0));
    return reply && reply->size >= byteCount(area) ? memory_.data() : nullptr;
}

const uint8_t* X11ScreenReader::readCopied(const QRect& area) {
    copied_.reset(); // Freed first, so that only one strip is in memory.
    copied_ = connection_.reply(xcb_get_image_reply,
                                xcb_get_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection_.screen().root,
                                              int16_t(area.x()), int16_t(area.y()), uint16_t(area.width()),
                                              uint16_t(area.height()), allPlanes));
    if (!copied_ || size_t(xcb_get_image_data_length(copied_.get())) < byteCount(area))
        return nullptr;
    return xcb_get_image_data(copied_.get());
}
