#include "platform/linux/jpeg/StripEncoder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <jpeglib.h>
#include <libyuv.h>
#include <vector>

namespace {

/// libjpeg takes 16 rows at a time with chroma subsampled to half the rows.
constexpr int groupRows = 2 * DCTSIZE;

/// A strip is two groups of rows: larger strips save nothing, smaller ones cost more exchanges with the
/// server.
constexpr int stripRows = 2 * groupRows;

/// Rows above and below a strip for the scaling filter, whose steps are rounded in fixed point.
constexpr int marginRows = 2;

/// A strip of one colour component. Rows are as long as libjpeg reads them, which is whole blocks.
class Plane {
public:
    Plane(int width, int stride, int rows)
        : width_(width)
        , stride_(stride)
        , bytes_(size_t(stride) * size_t(rows)) {}

    uint8_t* row(int index) { return bytes_.data() + ptrdiff_t(index) * stride_; }
    int stride() const { return stride_; }

    /// Continues each row by its last pixel up to the end of its last block.
    void fillRight(int rows) {
        for (int i = 0; i < rows; ++i)
            std::memset(row(i) + width_, row(i)[width_ - 1], size_t(stride_ - width_));
    }

private:
    int width_;
    int stride_;
    std::vector<uint8_t> bytes_;
};

int roundUp(int value, int multiple) {
    return (value + multiple - 1) / multiple * multiple;
}

/// Full-range YCbCr with chroma subsampled 2×2, the input format of JPEG.
struct Planes {
    explicit Planes(int width)
        : y(width, roundUp(width, groupRows), stripRows)
        , u((width + 1) / 2, roundUp(width, groupRows) / 2, stripRows / 2)
        , v((width + 1) / 2, roundUp(width, groupRows) / 2, stripRows / 2) {}

    void convert(const uint8_t* bgrx, int width, int rows) {
        libyuv::ARGBToJ420(bgrx, width * 4, y.row(0), y.stride(), u.row(0), u.stride(), v.row(0), v.stride(), width,
                           rows);
        y.fillRight(rows);
        u.fillRight((rows + 1) / 2);
        v.fillRight((rows + 1) / 2);
    }

    Plane y;
    Plane u;
    Plane v;
};

/// The destination of libjpeg: a byte array that grows.
struct Output {
    Output() {
        base.init_destination = [](j_compress_ptr compress) { of(compress).grow(0); };
        base.empty_output_buffer = [](j_compress_ptr compress) -> boolean {
            of(compress).grow(of(compress).bytes.size()); // Called when the buffer is full.
            return TRUE;
        };
        base.term_destination = [](j_compress_ptr compress) {
            Output& output = of(compress);
            output.bytes.resize(output.bytes.size() - qsizetype(output.base.free_in_buffer));
            output.bytes.squeeze();
        };
    }

    static Output& of(j_compress_ptr compress) { return *reinterpret_cast<Output*>(compress->dest); }

    void grow(qsizetype used) {
        bytes.resize(std::max<qsizetype>(64 * 1024, used * 2));
        base.next_output_byte = reinterpret_cast<JOCTET*>(bytes.data()) + used;
        base.free_in_buffer = size_t(bytes.size() - used);
    }

    jpeg_destination_mgr base{}; ///< First member, so that its address is that of the object.
    QByteArray bytes;
};

/// libjpeg with raw planes. It reports errors by longjmp, which must not skip a destructor: no function here that
/// calls setjmp has such a local object.
class JpegWriter {
public:
    JpegWriter() {
        compress_.err = jpeg_std_error(&error_.base);
        error_.base.error_exit = [](j_common_ptr compress) {
            std::longjmp(reinterpret_cast<Error*>(compress->err)->jump, 1);
        };
        error_.base.output_message = [](j_common_ptr) {};
    }
    ~JpegWriter() { jpeg_destroy_compress(&compress_); }
    JpegWriter(const JpegWriter&) = delete;
    JpegWriter& operator=(const JpegWriter&) = delete;

    bool start(QSize size, int quality) {
        if (setjmp(error_.jump))
            return false;
        jpeg_create_compress(&compress_);
        compress_.dest = &output_.base;
        compress_.image_width = JDIMENSION(size.width());
        compress_.image_height = JDIMENSION(size.height());
        compress_.input_components = 3;
        compress_.in_color_space = JCS_YCbCr;
        jpeg_set_defaults(&compress_); // Includes chroma subsampling 2×2.
        jpeg_set_quality(&compress_, quality, TRUE);
        compress_.raw_data_in = TRUE;
        jpeg_start_compress(&compress_, TRUE);
        return true;
    }

    /// Writes the rows of a strip; the last row of a picture is repeated to fill its group.
    bool write(Planes& planes, int rows) {
        if (setjmp(error_.jump))
            return false;
        const int lastChroma = (rows - 1) / 2;
        for (int top = 0; top < rows; top += groupRows) {
            std::array<JSAMPROW, groupRows> y;
            std::array<JSAMPROW, groupRows / 2> u;
            std::array<JSAMPROW, groupRows / 2> v;
            for (int i = 0; i < groupRows; ++i)
                y[size_t(i)] = planes.y.row(std::min(top + i, rows - 1));
            for (int i = 0; i < groupRows / 2; ++i) {
                u[size_t(i)] = planes.u.row(std::min(top / 2 + i, lastChroma));
                v[size_t(i)] = planes.v.row(std::min(top / 2 + i, lastChroma));
            }
            std::array<JSAMPARRAY, 3> components{y.data(), u.data(), v.data()};
            jpeg_write_raw_data(&compress_, components.data(), groupRows);
        }
        return true;
    }

    bool finish() {
        if (setjmp(error_.jump))
            return false;
        jpeg_finish_compress(&compress_);
        return true;
    }

    QByteArray takeBytes() { return std::move(output_.bytes); }

private:
    struct Error {
        jpeg_error_mgr base; ///< First member, as above.
        std::jmp_buf jump;
    };
    jpeg_compress_struct compress_{};
    Error error_{};
    Output output_;
};

/// Returns the rows of a picture of size `target`; each strip is scaled as part of the whole source.
class StripScaler {
public:
    StripScaler(QSize source, QSize target, const ReadRows& readRows)
        : source_(source)
        , target_(target)
        , readRows_(readRows)
        , scaled_(source == target ? 0 : size_t(target.width()) * 4 * stripRows) {}

    const uint8_t* rows(int top, int count) {
        if (source_ == target_)
            return readRows_(top, count);
        const double ratio = double(source_.height()) / target_.height();
        const int first = std::max(0, int(std::floor(top * ratio)) - marginRows);
        const int end = std::min(source_.height(), int(std::ceil((top + count) * ratio)) + marginRows);
        const uint8_t* strip = readRows_(first, end - first);
        if (!strip)
            return nullptr;
        // The scaler computes addresses from row 0 of both pictures, although only the strip's rows exist.
        const ptrdiff_t sourceStride = ptrdiff_t(source_.width()) * 4;
        const ptrdiff_t targetStride = ptrdiff_t(target_.width()) * 4;
        const int failed =
            libyuv::ARGBScaleClip(strip - first * sourceStride, int(sourceStride), source_.width(), source_.height(),
                                  scaled_.data() - top * targetStride, int(targetStride), target_.width(),
                                  target_.height(), 0, top, target_.width(), count, libyuv::kFilterBox);
        return failed ? nullptr : scaled_.data();
    }

private:
    QSize source_;
    QSize target_;
    const ReadRows& readRows_;
    std::vector<uint8_t> scaled_; ///< One strip; empty when nothing is scaled.
};

} // namespace

std::optional<QByteArray> encodeStrips(QSize source, QSize target, double quality, const ReadRows& readRows) {
    if (source.isEmpty() || target.isEmpty())
        return std::nullopt;
    JpegWriter writer;
    if (!writer.start(target, int(std::lround(std::clamp(quality, 0.0, 1.0) * 100))))
        return std::nullopt;
    StripScaler scaler(source, target, readRows);
    Planes planes(target.width());
    for (int top = 0; top < target.height(); top += stripRows) {
        const int count = std::min(stripRows, target.height() - top);
        const uint8_t* bgrx = scaler.rows(top, count);
        if (!bgrx)
            return std::nullopt;
        planes.convert(bgrx, target.width(), count);
        if (!writer.write(planes, count))
            return std::nullopt;
    }
    return writer.finish() ? std::optional(writer.takeBytes()) : std::nullopt;
}
