#include "PlainCapture.h"

#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>
#include <libyuv.h>
#include <sys/mman.h>
#include <unistd.h>
#include <xcb/shm.h>

namespace {

constexpr int width = 3840;
constexpr int height = 2160;
constexpr int outWidth = 1920;
constexpr int outHeight = 1080;
constexpr int stripRows = 32;
constexpr int margin = 2;
constexpr int segmentRows = 2 * stripRows + 2 * margin;

xcb_connection_t* connection = nullptr;
xcb_window_t root = 0;
xcb_shm_seg_t segment = 0;
uint8_t* shared = nullptr;
uint8_t scaled[outWidth * 4 * stripRows];
uint8_t y[outWidth * stripRows];
uint8_t u[outWidth / 2 * stripRows / 2];
uint8_t v[outWidth / 2 * stripRows / 2];

bool connectOnce() {
    if (connection)
        return true;
    connection = xcb_connect(nullptr, nullptr);
    root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    const int memory = memfd_create("plain", 0);
    if (ftruncate(memory, width * 4 * segmentRows) != 0)
        return false;
    shared = static_cast<uint8_t*>(mmap(nullptr, width * 4 * segmentRows, PROT_READ, MAP_SHARED, memory, 0));
    segment = xcb_generate_id(connection);
    xcb_shm_attach_fd(connection, segment, memory, 0);
    return xcb_connection_has_error(connection) == 0;
}

bool readStrip(int first, int rows) {
    auto* reply = xcb_shm_get_image_reply(connection,
                                          xcb_shm_get_image(connection, root, 0, int16_t(first), width, uint16_t(rows),
                                                            ~0U, XCB_IMAGE_FORMAT_Z_PIXMAP, segment, 0),
                                          nullptr);
    std::free(reply);
    return reply != nullptr;
}

void writeStrip(jpeg_compress_struct& jpeg, int rows) {
    for (int top = 0; top < rows; top += 16) {
        JSAMPROW yRows[16], uRows[8], vRows[8];
        for (int i = 0; i < 16; ++i)
            yRows[i] = y + outWidth * std::min(top + i, rows - 1);
        for (int i = 0; i < 8; ++i) {
            uRows[i] = u + outWidth / 2 * std::min(top / 2 + i, rows / 2 - 1);
            vRows[i] = v + outWidth / 2 * std::min(top / 2 + i, rows / 2 - 1);
        }
        JSAMPARRAY planes[3] = {yRows, uRows, vRows};
        jpeg_write_raw_data(&jpeg, planes, 16);
    }
}

bool saveFile(const char* path, const unsigned char* bytes, unsigned long count) {
    FILE* file = std::fopen(path, "wb");
    if (!file)
        return false;
    const bool isWritten = std::fwrite(bytes, 1, count, file) == count;
    return std::fclose(file) == 0 && isWritten;
}

} // namespace

bool takePlainPicture(const char* path) {
    if (!connectOnce())
        return false;
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* bytes = nullptr;
    unsigned long count = 0;
    jpeg_mem_dest(&jpeg, &bytes, &count);
    jpeg.image_width = outWidth;
    jpeg.image_height = outHeight;
    jpeg.input_components = 3;
    jpeg.in_color_space = JCS_YCbCr;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, 60, TRUE);
    jpeg.raw_data_in = TRUE;
    jpeg_start_compress(&jpeg, TRUE);
    bool isGood = true;
    for (int top = 0; top < outHeight; top += stripRows) {
        const int rows = std::min(stripRows, outHeight - top);
        const int first = std::max(0, 2 * top - margin);
        const int end = std::min(height, 2 * (top + rows) + margin);
        isGood = isGood && readStrip(first, end - first);
        libyuv::ARGBScaleClip(shared - ptrdiff_t(first) * width * 4, width * 4, width, height,
                              scaled - ptrdiff_t(top) * outWidth * 4, outWidth * 4, outWidth, outHeight, 0, top,
                              outWidth, rows, libyuv::kFilterBox);
        libyuv::ARGBToJ420(scaled, outWidth * 4, y, outWidth, u, outWidth / 2, v, outWidth / 2, outWidth, rows);
        writeStrip(jpeg, rows);
    }
    jpeg_finish_compress(&jpeg);
    isGood = isGood && saveFile(path, bytes, count);
    jpeg_destroy_compress(&jpeg);
    std::free(bytes);
    return isGood;
}
