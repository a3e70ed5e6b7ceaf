#include "JpegWriter.h"

#include "ParallelParts.h"

#include <QString>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cmath>
#include <csetjmp>
#include <cstdio> // jpeglib.h uses FILE without including it
#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include <jerror.h>
#include <jpeglib.h>

namespace {

// Chroma at full resolution (4:4:4). Screenshots are mostly text and one-pixel lines, often
// coloured (syntax highlighting, links, terminal listings, focus rings); 4:2:0 averages the
// colour of each 2×2 block, which bleeds those edges into the background. On captured desktops
// at quality 90, 4:2:0 lost 4.5 dB PSNR at 3840×2160 and 6.4 dB at 1920×1080, and its worst
// 0.1 % of samples were off by 35 and 68 levels against 12 and 16, for files only 8–10 %
// smaller. 4:4:4 takes 1.5–2 times as long to encode, which the two bands below win back.
constexpr int chromaSampling = 1;
constexpr int mcuHeight = 8 * chromaSampling;

// Large images are encoded as two bands on two threads and joined into one scan. Each band is
// a complete JPEG with the same tables and a restart marker after every MCU row; a restart
// resets the DC predictors, so the entropy-coded data of the second band can follow the first
// once the first ends at a restart boundary. Restart markers count RST0…RST7 and start at RST0
// in every band, so the first band holds a multiple of 8 MCU rows: its last internal marker is
// RST6, the joining marker is RST7, and the second band's markers continue the count unchanged.
constexpr int bandCount = 2;
constexpr int bandAlignment = 8 * mcuHeight;
// Below this, a second thread costs more than it saves (and restart markers are pointless).
constexpr qsizetype minPixelsToSplit = qsizetype(1) << 19;

constexpr JOCTET markerPrefix = 0xff;
constexpr JOCTET restart7 = 0xd7;
constexpr JOCTET endOfImage = 0xd9;

struct Settings
{
    J_COLOR_SPACE colourSpace;
    int quality;
    UINT16 density;
    bool restartEveryRow;
};

struct FreeMemory
{
    void operator()(void *memory) const { std::free(memory); }
};

struct DestroyCompressor
{
    void operator()(jpeg_compress_struct *compressor) const { jpeg_destroy_compress(compressor); }
};

// One libjpeg compression and the memory it writes to. libjpeg reports errors through a
// callback that must not return; it longjmps back to compressBand, so the band lives at a fixed
// address and holds everything that must survive the jump.
struct Band
{
    Band() = default;
    Band(const Band &) = delete;
    Band &operator=(const Band &) = delete;

    // Destroying a compressor that was never created is safe: its memory manager is null.
    jpeg_compress_struct compressor{};
    std::unique_ptr<jpeg_compress_struct, DestroyCompressor> compressorGuard{&compressor};
    jpeg_error_mgr errors{};
    jpeg_destination_mgr destination{};
    std::jmp_buf failed{};
    char message[JMSG_LENGTH_MAX] = {};
    std::unique_ptr<JOCTET, FreeMemory> buffer;
    size_t capacity = 0;
    size_t size = 0;
    std::vector<JSAMPROW> rows;
    bool succeeded = false;
};

Band &bandOf(j_common_ptr compressor)
{
    return *static_cast<Band *>(compressor->client_data);
}

[[noreturn]] void fail(j_common_ptr compressor)
{
    Band &band = bandOf(compressor);
    (*compressor->err->format_message)(compressor, band.message);
    std::longjmp(band.failed, 1);
}

// Warnings (none are expected when compressing) would go to stderr.
void ignoreMessage(j_common_ptr)
{
}

void startOutput(j_compress_ptr compressor)
{
    Band &band = bandOf(reinterpret_cast<j_common_ptr>(compressor));
    // About what quality 90 makes of a busy screen; the buffer doubles when that is too little.
    band.capacity = std::max<size_t>(size_t(compressor->image_width) * compressor->image_height / 4, 64 << 10);
    band.buffer.reset(static_cast<JOCTET *>(std::malloc(band.capacity)));
    if (!band.buffer)
        ERREXIT1(compressor, JERR_OUT_OF_MEMORY, 0);
    band.destination.next_output_byte = band.buffer.get();
    band.destination.free_in_buffer = band.capacity;
}

boolean growOutput(j_compress_ptr compressor)
{
    Band &band = bandOf(reinterpret_cast<j_common_ptr>(compressor));
    const size_t grown = band.capacity * 2;
    auto *bigger = static_cast<JOCTET *>(std::realloc(band.buffer.get(), grown));
    if (!bigger)
        ERREXIT1(compressor, JERR_OUT_OF_MEMORY, 1);
    (void)band.buffer.release(); // realloc took it over
    band.buffer.reset(bigger);
    band.destination.next_output_byte = bigger + band.capacity;
    band.destination.free_in_buffer = grown - band.capacity;
    band.capacity = grown;
    return TRUE;
}

void finishOutput(j_compress_ptr compressor)
{
    Band &band = bandOf(reinterpret_cast<j_common_ptr>(compressor));
    band.size = band.capacity - band.destination.free_in_buffer;
}

// Nothing with a destructor may live in this frame: fail() longjmps into it.
bool compressBand(Band &band, const Settings &settings, JDIMENSION width, JDIMENSION height)
{
    jpeg_compress_struct &compressor = band.compressor;
    compressor.err = jpeg_std_error(&band.errors);
    band.errors.error_exit = fail;
    band.errors.output_message = ignoreMessage;
    compressor.client_data = &band;
    if (setjmp(band.failed))
        return false;
    jpeg_create_compress(&compressor);

    band.destination.init_destination = startOutput;
    band.destination.empty_output_buffer = growOutput;
    band.destination.term_destination = finishOutput;
    compressor.dest = &band.destination;

    compressor.image_width = width;
    compressor.image_height = height;
    compressor.input_components = 4;
    compressor.in_color_space = settings.colourSpace;
    jpeg_set_defaults(&compressor);
    jpeg_set_quality(&compressor, settings.quality, TRUE);
    for (int component = 0; component < compressor.num_components; ++component) {
        compressor.comp_info[component].h_samp_factor = chromaSampling;
        compressor.comp_info[component].v_samp_factor = chromaSampling;
    }
    // The bands share the standard Huffman tables; optimised tables would differ per band (and
    // cost a second pass).
    compressor.optimize_coding = FALSE;
    compressor.arith_code = FALSE;
    compressor.restart_in_rows = settings.restartEveryRow ? 1 : 0;
    compressor.write_JFIF_header = TRUE;
    compressor.density_unit = 1; // dots per inch
    compressor.X_density = settings.density;
    compressor.Y_density = settings.density;

    jpeg_start_compress(&compressor, TRUE);
    while (compressor.next_scanline < compressor.image_height)
        jpeg_write_scanlines(&compressor, band.rows.data() + compressor.next_scanline,
            compressor.image_height - compressor.next_scanline);
    jpeg_finish_compress(&compressor);
    return true;
}

// Where a band's frame height is written and where its entropy-coded data lies: from the end
// of the start-of-scan segment to the end-of-image marker that libjpeg writes last.
struct Layout
{
    size_t heightAt = 0;
    size_t scanStart = 0;
    size_t scanEnd = 0;
};

std::optional<Layout> layoutOf(const JOCTET *data, size_t size)
{
    if (size < 4 || data[0] != markerPrefix || data[1] != 0xd8 || data[size - 2] != markerPrefix
        || data[size - 1] != endOfImage)
        return std::nullopt;
    Layout layout;
    for (size_t at = 2; at + 4 <= size;) {
        if (data[at] != markerPrefix)
            return std::nullopt;
        const JOCTET marker = data[at + 1];
        const size_t segmentEnd = at + 2 + qFromBigEndian<quint16>(data + at + 2);
        if (segmentEnd > size - 2)
            return std::nullopt;
        // SOF0 or SOF1: length (2), precision (1), then the height.
        if (marker == 0xc0 || marker == 0xc1)
            layout.heightAt = at + 5;
        if (marker == 0xda) {
            if (layout.heightAt == 0)
                return std::nullopt;
            layout.scanStart = segmentEnd;
            layout.scanEnd = size - 2;
            return layout;
        }
        at = segmentEnd;
    }
    return std::nullopt;
}

// The 0…1 quality is read as a percentage of libjpeg's 1…100 scale (0.9 is libjpeg's 90, the
// usual "high" of image editors); 0 becomes 1, libjpeg's lowest.
int libjpegQuality(double quality)
{
    const double clamped = quality > 1 ? 1.0 : (quality > 0 ? quality : 0.0); // NaN too becomes 0
    return std::max(1, int(std::lround(clamped * 100)));
}

Error failure(const QString &detail)
{
    return Error{QString(), detail};
}

} // namespace

Result<QByteArray> JpegWriter::write(const Bitmap &image, double dotsPerInch, double quality)
{
    const int width = image.width();
    const int height = image.height();
    // Checked here because each band alone may be short enough for libjpeg's own check.
    if (width > JPEG_MAX_DIMENSION || height > JPEG_MAX_DIMENSION)
        return failure(QStringLiteral("JPEG cannot hold %1x%2 pixels; the limit is %3 per side")
                           .arg(width)
                           .arg(height)
                           .arg(JPEG_MAX_DIMENSION));

    const bool split = qsizetype(width) * height >= minPixelsToSplit && height >= 2 * bandAlignment;
    const int bands = split ? bandCount : 1;
    std::array<int, bandCount + 1> bandStart{};
    for (int band = 1; band < bands; ++band)
        bandStart[band] = height * band / bands / bandAlignment * bandAlignment;
    bandStart[bands] = height;

    const Settings settings{
        image.alpha() == Bitmap::Alpha::premultiplied ? JCS_EXT_BGRA : JCS_EXT_BGRX,
        libjpegQuality(quality),
        UINT16(std::clamp(std::lround(dotsPerInch), 1L, 65535L)),
        split,
    };

    std::vector<std::unique_ptr<Band>> parts;
    for (int band = 0; band < bands; ++band) {
        auto &part = parts.emplace_back(std::make_unique<Band>());
        for (int y = bandStart[band]; y < bandStart[band + 1]; ++y)
            part->rows.push_back(const_cast<JSAMPROW>(image.scanLine(y))); // libjpeg only reads them
    }
    ParallelParts::run(bands, [&](int band) {
        parts[band]->succeeded = compressBand(
            *parts[band], settings, JDIMENSION(width), JDIMENSION(bandStart[band + 1] - bandStart[band]));
    });

    std::vector<Layout> layouts;
    qsizetype total = 0;
    for (const auto &part : parts) {
        if (!part->succeeded)
            return failure(QStringLiteral("libjpeg: ") + QString::fromLatin1(part->message));
        const std::optional<Layout> layout = layoutOf(part->buffer.get(), part->size);
        if (!layout)
            return failure(QStringLiteral("libjpeg wrote a stream without the expected frame and scan headers"));
        layouts.push_back(*layout);
        total += qsizetype(part->size);
    }

    QByteArray file;
    file.reserve(total);
    const char *first = reinterpret_cast<const char *>(parts[0]->buffer.get());
    file.append(first, qsizetype(layouts[0].scanEnd));
    qToBigEndian<quint16>(quint16(height), file.data() + layouts[0].heightAt);
    for (int band = 1; band < bands; ++band) {
        const char *data = reinterpret_cast<const char *>(parts[band]->buffer.get());
        file.append(char(markerPrefix));
        file.append(char(restart7));
        file.append(data + layouts[band].scanStart, qsizetype(layouts[band].scanEnd - layouts[band].scanStart));
    }
    file.append(char(markerPrefix));
    file.append(char(endOfImage));
    return file;
}
