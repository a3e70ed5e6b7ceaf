// The FFmpeg side of VideoFrameReader, built as a module of its own: FFmpeg's libraries pull in
// some hundred more (every codec Debian builds), which every command would otherwise load at
// start-up for a picture only notifications of recordings need.
#include "VideoFrameReader.h"

#include "FfmpegSupport.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

namespace {

// A file that never yields a picture (a broken stream, a codec that needs more than it gets)
// must not be read to its end: a long recording is gigabytes, read while the notification waits.
constexpr int maxVideoPackets = 256;

Error failure(const QString &detail)
{
    QString full = detail;
    const QString logged = lastLibraryError();
    if (!logged.isEmpty() && !detail.contains(logged))
        full += QLatin1String(" (") + logged + QLatin1Char(')');
    return Error{QStringLiteral("Couldn't read the recording's first frame."), full};
}

Error failure(const QString &step, int code)
{
    return failure(step + QLatin1String(": ") + libraryErrorText(code));
}

// The display matrix of the container's track header, where phones and some recorders store
// the orientation. FFmpeg 6.1 moved it into the codec parameters.
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 100)
const uint8_t *trackDisplayMatrix(const AVStream *stream, size_t *size)
{
    const AVPacketSideData *side = av_packet_side_data_get(
        stream->codecpar->coded_side_data, stream->codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
    *size = side ? side->size : 0;
    return side ? side->data : nullptr;
}
#else
const uint8_t *trackDisplayMatrix(const AVStream *stream, size_t *size)
{
    return av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, size);
}
#endif

// The frame's own display matrix (an orientation message in the video stream), or else the
// track's.
const int32_t *displayMatrix(const AVStream *stream, const AVFrame *frame)
{
    if (const AVFrameSideData *side = av_frame_get_side_data(frame, AV_FRAME_DATA_DISPLAYMATRIX);
        side && side->size >= 9 * sizeof(int32_t))
        return reinterpret_cast<const int32_t *>(side->data);
    size_t size = 0;
    const uint8_t *track = trackDisplayMatrix(stream, &size);
    return track && size >= 9 * sizeof(int32_t) ? reinterpret_cast<const int32_t *>(track) : nullptr;
}

// Clockwise quarter turns that stand the decoded picture upright. The matrix's angle is
// counter-clockwise; anything between quarter turns is rounded to the nearest one.
int clockwiseQuarterTurns(const int32_t *matrix)
{
    if (!matrix)
        return 0;
    const double counterClockwise = av_display_rotation_get(matrix);
    if (!std::isfinite(counterClockwise))
        return 0;
    const long turns = std::lround(-counterClockwise / 90.0) % 4;
    return int(turns < 0 ? turns + 4 : turns);
}

// The largest size of `natural`'s shape within `bounds`, but never larger than `natural`.
QSize fitWithin(QSizeF natural, QSize bounds)
{
    const double factor = std::min({1.0, bounds.width() / natural.width(), bounds.height() / natural.height()});
    const auto side = [factor](double length) { return std::max(1, int(std::lround(length * factor))); };
    return QSize(side(natural.width()), side(natural.height()));
}

Bitmap turnedClockwise(const Bitmap &source, int quarterTurns)
{
    if (quarterTurns == 0)
        return source;
    const int width = source.width();
    const int height = source.height();
    Bitmap turned = Bitmap::allocate(quarterTurns == 2 ? source.size() : source.size().transposed());
    for (int y = 0; y < height; ++y) {
        const auto *from = reinterpret_cast<const quint32 *>(source.scanLine(y));
        for (int x = 0; x < width; ++x) {
            int toX = 0;
            int toY = 0;
            switch (quarterTurns) {
            case 1:
                toX = height - 1 - y, toY = x;
                break;
            case 2:
                toX = width - 1 - x, toY = height - 1 - y;
                break;
            default:
                toX = y, toY = width - 1 - x;
                break;
            }
            reinterpret_cast<quint32 *>(turned.bits() + toY * turned.bytesPerLine())[toX] = from[x];
        }
    }
    return turned;
}

// Feeds the video stream's packets to the decoder until the first picture comes out.
Result<FramePtr> decodeFirstFrame(AVFormatContext *format, int streamIndex, AVCodecContext *decoder)
{
    const PacketPtr packet(av_packet_alloc());
    FramePtr frame(av_frame_alloc());
    if (!packet || !frame)
        return failure(QStringLiteral("out of memory"));
    int videoPackets = 0;
    bool draining = false;
    for (;;) {
        int code = avcodec_receive_frame(decoder, frame.get());
        if (code == 0)
            return frame;
        if (code == AVERROR_EOF)
            return failure(QStringLiteral("the video ends before its first picture"));
        if (code != AVERROR(EAGAIN))
            return failure(QStringLiteral("decoding"), code);

        if (draining)
            return failure(QStringLiteral("the decoder keeps its first picture"));
        code = av_read_frame(format, packet.get());
        if (code == AVERROR_EOF) {
            // Drains the pictures a decoder holds back for reordering.
            draining = true;
            code = avcodec_send_packet(decoder, nullptr);
            if (code < 0 && code != AVERROR_EOF)
                return failure(QStringLiteral("decoding"), code);
            continue;
        }
        if (code < 0)
            return failure(QStringLiteral("reading the file"), code);
        if (packet->stream_index != streamIndex) {
            av_packet_unref(packet.get());
            continue;
        }
        if (++videoPackets > maxVideoPackets)
            return failure(QStringLiteral("no picture in the first %1 packets").arg(maxVideoPackets));
        code = avcodec_send_packet(decoder, packet.get());
        av_packet_unref(packet.get());
        // A damaged packet is skipped: a later one may still start a picture.
        if (code < 0 && code != AVERROR_INVALIDDATA)
            return failure(QStringLiteral("decoding"), code);
    }
}

Result<Bitmap> scaled(const AVFrame *frame, QSize size)
{
    const auto sourceFormat = AVPixelFormat(frame->format);
    const ScalerPtr scaler(sws_getContext(frame->width, frame->height, sourceFormat, size.width(), size.height(),
        AV_PIX_FMT_BGRA, SWS_AREA, nullptr, nullptr, nullptr));
    if (!scaler) {
        const char *name = av_get_pix_fmt_name(sourceFormat);
        return failure(QStringLiteral("no conversion from %1 pixels").arg(QString::fromUtf8(name ? name : "unknown")));
    }

    // The scaler reads YUV as BT.601 in limited range unless told otherwise; a full-range or
    // BT.709 picture would come out washed out or with shifted colours.
    int *inverseTable = nullptr;
    int *table = nullptr;
    int sourceFullRange = 0;
    int targetFullRange = 0;
    int brightness = 0;
    int contrast = 0;
    int saturation = 0;
    if (sws_getColorspaceDetails(scaler.get(), &inverseTable, &sourceFullRange, &table, &targetFullRange, &brightness,
            &contrast, &saturation)
        >= 0) {
        // The deprecated "J" formats set full range inside the scaler, hence the or.
        sourceFullRange = sourceFullRange || frame->color_range == AVCOL_RANGE_JPEG;
        const int colorspace = frame->colorspace == AVCOL_SPC_UNSPECIFIED ? SWS_CS_DEFAULT : int(frame->colorspace);
        sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(colorspace), sourceFullRange, table, targetFullRange,
            brightness, contrast, saturation);
    }

    // The scaler's vector code writes whole blocks of pixels, past the end of a row whose width
    // is no multiple of the block (and so past the end of the last row): every row gets room to
    // spare, and the buffer one row more.
    const qsizetype stride = (qsizetype(size.width()) * 4 + 63) / 64 * 64;
    const std::shared_ptr<uchar[]> memory(new uchar[stride * (size.height() + 1)]());
    const Bitmap bitmap(size, stride, memory.get(), std::shared_ptr<const void>(memory, memory.get()));
    uint8_t *const target[4] = {memory.get(), nullptr, nullptr, nullptr};
    const int targetStride[4] = {int(stride), 0, 0, 0};
    if (sws_scale(scaler.get(), frame->data, frame->linesize, 0, frame->height, target, targetStride) <= 0)
        return failure(QStringLiteral("scaling %1x%2 to %3x%4")
                           .arg(frame->width)
                           .arg(frame->height)
                           .arg(size.width())
                           .arg(size.height()));
    return bitmap;
}

} // namespace

// Unmangled so the loader finds it by name; the loader is built from the same sources, so the
// C++ types on both sides agree.
// NOLINTNEXTLINE(clang-diagnostic-return-type-c-linkage)
extern "C" __attribute__((visibility("default"))) Result<Bitmap> qorvelMediaFirstFrame(
    const QString &path, QSize maxSize)
{
    quietLibraryLogging();
    clearLibraryError();
    if (maxSize.isEmpty())
        return failure(QStringLiteral("no room for a picture: %1x%2").arg(maxSize.width()).arg(maxSize.height()));

    // "file:" and an absolute path, so that a name like "a:b.mp4" is not taken for a protocol;
    // and local files only, so that a playlist posing as a recording cannot reach the network.
    const QByteArray url = "file:" + QFile::encodeName(QFileInfo(path).absoluteFilePath());
    Options options;
    av_dict_set(&options.entries, "protocol_whitelist", "file", 0);
    AVFormatContext *opened = nullptr;
    int code = avformat_open_input(&opened, url.constData(), nullptr, &options.entries);
    const FormatPtr format(opened);
    if (code < 0)
        return failure(QStringLiteral("opening %1").arg(path), code);
    // Formats without a header (MPEG-TS, raw streams) only learn their streams from the packets.
    if (format->ctx_flags & AVFMTCTX_NOHEADER) {
        code = avformat_find_stream_info(format.get(), nullptr);
        if (code < 0)
            return failure(QStringLiteral("probing %1").arg(path), code);
    }

    const AVCodec *codec = nullptr;
    const int streamIndex = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    if (streamIndex < 0)
        return failure(streamIndex == AVERROR_DECODER_NOT_FOUND ? QStringLiteral("no decoder for its video")
                                                                : QStringLiteral("%1 has no video").arg(path));
    AVStream *stream = format->streams[streamIndex];
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        if (int(i) != streamIndex)
            format->streams[i]->discard = AVDISCARD_ALL;
    }

    const CodecPtr decoder(avcodec_alloc_context3(codec));
    if (!decoder)
        return failure(QStringLiteral("out of memory"));
    code = avcodec_parameters_to_context(decoder.get(), stream->codecpar);
    if (code < 0)
        return failure(QStringLiteral("reading the video's parameters"), code);
    // One picture is wanted: frame threads would first decode one frame each before the first
    // came out.
    decoder->thread_count = 1;
    code = avcodec_open2(decoder.get(), codec, nullptr);
    if (code < 0)
        return failure(QStringLiteral("opening the %1 decoder").arg(QString::fromUtf8(codec->name)), code);

    Result<FramePtr> decoded = decodeFirstFrame(format.get(), streamIndex, decoder.get());
    if (!decoded)
        return decoded.error();
    AVFrame *frame = decoded.value().get();
    if (frame->width <= 0 || frame->height <= 0)
        return failure(QStringLiteral("a picture of %1x%2").arg(frame->width).arg(frame->height));

    // Pixels need not be square (anamorphic video): the picture is shown at its display shape.
    const AVRational pixelAspect = av_guess_sample_aspect_ratio(format.get(), stream, frame);
    const double widthFactor = pixelAspect.num > 0 && pixelAspect.den > 0 ? av_q2d(pixelAspect) : 1.0;
    const int quarterTurns = clockwiseQuarterTurns(displayMatrix(stream, frame));
    QSizeF shown(frame->width * widthFactor, frame->height);
    if (quarterTurns % 2)
        shown.transpose();
    // Scaled before it is turned: turning the small picture is the cheap order.
    QSize size = fitWithin(shown, maxSize);
    if (quarterTurns % 2)
        size.transpose();

    Result<Bitmap> picture = scaled(frame, size);
    if (!picture)
        return picture;
    return turnedClockwise(picture.value(), quarterTurns);
}
