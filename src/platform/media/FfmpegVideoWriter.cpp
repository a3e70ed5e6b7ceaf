#include "FfmpegVideoWriter.h"

#include "Bt709Converter.h"
#include "RecordingError.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

// 90 kHz, the usual video clock: frame times from the monotonic clock keep their spacing.
constexpr AVRational timeBase{1, 90000};
constexpr int64_t frameTicks = 3000; // 1/30 s
constexpr int framesPerSecond = 30;
constexpr int keyFrameInterval = 300;
constexpr int64_t stillRepeatTicks = 90000; // a second
constexpr qint64 spaceMargin = qint64(64) << 20;
constexpr int ioBufferSize = 1 << 16;

Error writerFailed(const QString &message, const QString &detail = {})
{
    return toError(RecordingError::writerFailed, message, detail);
}

int64_t ticksSince(RecordingClock::time_point first, RecordingClock::time_point time)
{
    using Ticks = std::chrono::duration<int64_t, std::ratio<1, 90000>>;
    return std::chrono::duration_cast<Ticks>(time - first).count();
}

// Quality 0…1 onto the encoder's constant rate factor (lower is better). x264: 0.35 → 28.6,
// 0.5 → 25, 0.65 → 21.4, around its default of 23 where screen text stays crisp; x265's scale
// sits about three higher for the same look. The peak bit rate caps both.
double constantRateFactor(VideoCodec codec, double quality)
{
    const double x264 = 37.0 - 24.0 * quality;
    return codec == VideoCodec::hevc ? x264 + 3.0 : x264;
}

// The slowest preset that keeps up at 30 frames a second on two cores with room for the rest
// of the desktop, by pixels per frame.
const char *presetFor(VideoCodec codec, qint64 pixels)
{
    constexpr qint64 p720 = qint64(1280) * 720;
    constexpr qint64 p1080 = qint64(1920) * 1080;
    if (codec == VideoCodec::hevc)
        return "ultrafast";
    if (pixels <= p720)
        return "veryfast";
    return pixels <= p1080 ? "superfast" : "ultrafast";
}

qint64 freeBytes(int fd, const QString &path)
{
    struct statvfs fs = {};
    const int status = fd >= 0 ? fstatvfs(fd, &fs) : statvfs(QFile::encodeName(path).constData(), &fs);
    return status == 0 ? qint64(fs.f_bavail) * qint64(fs.f_frsize) : -1;
}

QString megabytes(qint64 bytes)
{
    return QString::number(double(bytes) / 1e6, 'f', 0) + QStringLiteral(" MB");
}

// Copies the fragmented file into a plain MP4 with its index first, beside it, and puts it in
// its place. A failure (most likely a disk without room for the copy) leaves the fragmented
// file, which plays as it is.
Result<void> rewriteWithIndexFirst(const QString &path)
{
    const QByteArray source = QFile::encodeName(QStringLiteral("file:") + path);
    const QString target = path + QStringLiteral(".index");
    const QByteArray targetName = QFile::encodeName(QStringLiteral("file:") + target);

    AVFormatContext *opened = nullptr;
    if (const int code = avformat_open_input(&opened, source.constData(), nullptr, nullptr); code < 0)
        return Error{libraryErrorText(code), {}};
    const FormatPtr input(opened);
    if (const int code = avformat_find_stream_info(input.get(), nullptr); code < 0)
        return Error{libraryErrorText(code), {}};

    AVFormatContext *made = nullptr;
    // Named, because moving the index to the front reads the file back by its name.
    if (const int code = avformat_alloc_output_context2(&made, nullptr, "mp4", targetName.constData()); code < 0)
        return Error{libraryErrorText(code), {}};
    const OutputPtr output(made);
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        AVStream *stream = avformat_new_stream(output.get(), nullptr);
        if (!stream)
            return Error{QStringLiteral("out of memory"), {}};
        avcodec_parameters_copy(stream->codecpar, input->streams[i]->codecpar);
        stream->codecpar->codec_tag = 0;
        stream->time_base = input->streams[i]->time_base;
    }
    auto fail = [&target](int code, const char *step) {
        QFile::remove(target);
        return Error{libraryErrorText(code), QString::fromLatin1(step)};
    };
    if (const int code = avio_open(&output->pb, targetName.constData(), AVIO_FLAG_WRITE); code < 0)
        return fail(code, "open");
    Options options;
    av_dict_set(&options.entries, "movflags", "+faststart", 0);
    if (const int code = avformat_write_header(output.get(), &options.entries); code < 0)
        return fail(code, "header");
    const PacketPtr packet(av_packet_alloc());
    qint64 packets = 0;
    while (av_read_frame(input.get(), packet.get()) >= 0) {
        ++packets;
        const AVStream *from = input->streams[packet->stream_index];
        // The fragments start at the first decoded frame, B-frames' delay later than the first
        // shown one; the plain file starts at the first shown frame, as the recording did.
        if (from->start_time != AV_NOPTS_VALUE) {
            packet->pts -= from->start_time;
            packet->dts -= from->start_time;
        }
        av_packet_rescale_ts(packet.get(), from->time_base, output->streams[packet->stream_index]->time_base);
        packet->pos = -1;
        if (const int code = av_interleaved_write_frame(output.get(), packet.get()); code < 0)
            return fail(code, "packet");
    }
    if (packets == 0) {
        QFile::remove(target);
        return toError(RecordingError::empty);
    }
    if (const int code = av_write_trailer(output.get()); code < 0)
        return fail(code, "trailer");
    if (const int code = avio_closep(&output->pb); code < 0)
        return fail(code, "close");
    if (std::rename(QFile::encodeName(target).constData(), QFile::encodeName(path).constData()) != 0)
        return fail(AVERROR(errno), "rename");
    return {};
}

} // namespace

qint64 FfmpegVideoWriter::reserveFor(const VideoEncodingPlan &plan)
{
    return plan.peakBitRate / 8 * 60 + spaceMargin;
}

Result<std::unique_ptr<VideoFileWriter>> FfmpegVideoWriter::open(const QString &path, const VideoEncodingPlan &plan)
{
    quietLibraryLogging();
    clearLibraryError();
    QFile::remove(path);

    const qint64 available = freeBytes(-1, QFileInfo(path).absolutePath());
    if (available >= 0 && available < reserveFor(plan))
        return writerFailed(
            QStringLiteral("there is not enough free space on the disk (%1 left)").arg(megabytes(available)),
            QFileInfo(path).absolutePath());

    const char *name = plan.codec == VideoCodec::hevc ? "libx265" : "libx264";
    const AVCodec *codec = avcodec_find_encoder_by_name(name);
    if (!codec)
        return writerFailed(QStringLiteral("unsupported codec settings"),
            QString::fromLatin1(name) + QStringLiteral(" is not in this FFmpeg"));

    CodecPtr encoder(avcodec_alloc_context3(codec));
    encoder->width = int(plan.width);
    encoder->height = int(plan.height);
    encoder->time_base = timeBase;
    encoder->framerate = AVRational{framesPerSecond, 1};
    encoder->pix_fmt = AV_PIX_FMT_YUV420P;
    encoder->gop_size = keyFrameInterval;
    // At most the peak bit rate in any one second.
    encoder->rc_max_rate = plan.peakBitRate;
    encoder->rc_buffer_size = int(std::min<qint64>(plan.peakBitRate, INT_MAX));
    encoder->color_primaries = AVCOL_PRI_BT709;
    encoder->color_trc = AVCOL_TRC_BT709;
    encoder->colorspace = AVCOL_SPC_BT709;
    encoder->color_range = AVCOL_RANGE_MPEG;
    encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;

    Options options;
    av_dict_set(&options.entries, "preset", presetFor(plan.codec, plan.width * plan.height), 0);
    av_dict_set(&options.entries, "crf", QByteArray::number(constantRateFactor(plan.codec, plan.quality), 'f', 1), 0);
    av_dict_set(&options.entries, "profile", plan.codec == VideoCodec::hevc ? "main" : "high", 0);
    // Every picture sent comes out at once, rather than after a lookahead of a dozen pictures,
    // which on a screen that changes now and then would hold back many seconds of the recording
    // from the disk.
    av_dict_set(&options.entries, "tune", "zerolatency", 0);
    if (plan.codec == VideoCodec::hevc)
        av_dict_set(&options.entries, "x265-params", "log-level=error", 0);
    if (const int code = avcodec_open2(encoder.get(), codec, &options.entries); code < 0) {
        const QString logged = lastLibraryError();
        return writerFailed(QStringLiteral("unsupported codec settings"),
            libraryErrorText(code) + (logged.isEmpty() ? QString() : QStringLiteral(" (") + logged + QLatin1Char(')')));
    }
    return std::unique_ptr<VideoFileWriter>(new FfmpegVideoWriter(path, plan, std::move(encoder)));
}

FfmpegVideoWriter::FfmpegVideoWriter(QString path, VideoEncodingPlan plan, CodecPtr encoder)
    : m_path(std::move(path))
    , m_plan(plan)
    , m_encoder(std::move(encoder))
    , m_picture(av_frame_alloc())
    , m_packet(av_packet_alloc())
    , m_held(av_packet_alloc())
{
    m_picture->format = AV_PIX_FMT_YUV420P;
    m_picture->width = int(m_plan.width);
    m_picture->height = int(m_plan.height);
    m_picture->color_primaries = AVCOL_PRI_BT709;
    m_picture->color_trc = AVCOL_TRC_BT709;
    m_picture->colorspace = AVCOL_SPC_BT709;
    m_picture->color_range = AVCOL_RANGE_MPEG;
}

FfmpegVideoWriter::~FfmpegVideoWriter()
{
    // Neither finished nor cancelled: what is on the disk stays, playable.
    closeFile();
}

Error FfmpegVideoWriter::writeFailure(const QString &step, int code) const
{
    const QString reason = m_writeErrno ? QString::fromLocal8Bit(std::strerror(m_writeErrno)) : libraryErrorText(code);
    return writerFailed(reason, step + QStringLiteral(": ") + m_path);
}

int FfmpegVideoWriter::writeToFile(void *opaque, uint8_t *data, int size)
{
    auto *self = static_cast<FfmpegVideoWriter *>(opaque);
    int written = 0;
    while (written < size) {
        const ssize_t n = ::write(self->m_fd, data + written, size_t(size - written));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            self->m_writeErrno = errno;
            return AVERROR(errno);
        }
        written += int(n);
    }
    return written;
}

int64_t FfmpegVideoWriter::seekInFile(void *opaque, int64_t offset, int whence)
{
    auto *self = static_cast<FfmpegVideoWriter *>(opaque);
    if (whence == AVSEEK_SIZE) {
        struct stat status = {};
        return fstat(self->m_fd, &status) == 0 ? int64_t(status.st_size) : AVERROR(errno);
    }
    const off_t at = lseek(self->m_fd, off_t(offset), whence & ~AVSEEK_FORCE);
    return at < 0 ? AVERROR(errno) : int64_t(at);
}

Result<void> FfmpegVideoWriter::startFile()
{
    m_fd = ::open(QFile::encodeName(m_path).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (m_fd < 0)
        return writerFailed(QString::fromLocal8Bit(std::strerror(errno)), m_path);
    // Held until the file is finished: it tells a Qorvel starting meanwhile that this recording
    // is alive, not one a dead process left to be recovered.
    flock(m_fd, LOCK_EX | LOCK_NB);

    AVFormatContext *made = nullptr;
    if (const int code = avformat_alloc_output_context2(&made, nullptr, "mp4", nullptr); code < 0)
        return writerFailed(libraryErrorText(code));
    m_output.reset(made);
    auto *buffer = static_cast<unsigned char *>(av_malloc(ioBufferSize));
    m_output->pb = avio_alloc_context(buffer, ioBufferSize, 1, this, nullptr, writeToFile, seekInFile);
    m_output->flags |= AVFMT_FLAG_CUSTOM_IO;
    m_stream = avformat_new_stream(m_output.get(), nullptr);
    if (!m_output->pb || !m_stream)
        return writerFailed(QStringLiteral("out of memory"));
    avcodec_parameters_from_context(m_stream->codecpar, m_encoder.get());
    m_stream->time_base = timeBase;
    m_stream->avg_frame_rate = AVRational{framesPerSecond, 1};

    Options options;
    // Fragments are cut by hand, one for each picture (see writePackets()).
    av_dict_set(&options.entries, "movflags", "frag_custom+empty_moov+default_base_moof", 0);
    if (const int code = avformat_write_header(m_output.get(), &options.entries); code < 0)
        return writeFailure(QStringLiteral("header"), code);
    m_lastSync = RecordingClock::now();
    return {};
}

void FfmpegVideoWriter::append(const VideoFrame &frame)
{
    if (m_failure)
        return;
    if (frame.image.isNull()) {
        // The picture on the disk waits for the next one to say how long it lasts; on a still
        // screen that is a repeat, once a second, a few bytes each.
        if (!m_lastPresentationTime)
            return;
        if (const int64_t pts = ticksSince(*m_firstTime, frame.presentationTime);
            pts - *m_lastPresentationTime >= stillRepeatTicks) {
            repeatLastPicture(pts);
            syncToDisk(false);
        }
        return;
    }
    if (!m_firstTime) {
        if (Result<void> started = startFile(); !started) {
            m_failure = started.error();
            return;
        }
        m_firstTime = frame.presentationTime;
    }
    const int64_t pts = ticksSince(*m_firstTime, frame.presentationTime);
    if (m_lastPresentationTime && pts <= *m_lastPresentationTime)
        return;

    if (!m_picture->buf[0] && av_frame_get_buffer(m_picture.get(), 0) < 0)
        return;
    if (av_frame_make_writable(m_picture.get()) < 0)
        return;
    if (!convert(frame.image))
        return;
    m_picture->pts = pts;
    if (!encode(m_picture.get()))
        return;
    m_lastPresentationTime = pts;
    ++m_framesWritten;
    syncToDisk(false);
}

void FfmpegVideoWriter::repeatLastPicture(int64_t pts)
{
    if (av_frame_make_writable(m_picture.get()) < 0)
        return;
    m_picture->pts = pts;
    if (encode(m_picture.get()))
        m_lastPresentationTime = pts;
}

bool FfmpegVideoWriter::convert(const Bitmap &image)
{
    // Grabbed at the plan's size, but for the odd pixel the plan rounds off: converted as it is.
    const bool unscaled = image.width() >= m_plan.width && image.width() - m_plan.width < 2
        && image.height() >= m_plan.height && image.height() - m_plan.height < 2;
    if (unscaled) {
        Bt709Converter::toI420(image.constBits(), image.bytesPerLine(), int(m_plan.width), int(m_plan.height),
            {m_picture->data[0], m_picture->linesize[0], m_picture->data[1], m_picture->linesize[1], m_picture->data[2],
                m_picture->linesize[2]});
        return true;
    }
    // A recording's grabs keep one size: the scaler and its colour tables are made once.
    if (!m_scaler || m_scaledFrom != image.size()) {
        m_scaler.reset(sws_getContext(image.width(), image.height(), AV_PIX_FMT_BGR0, int(m_plan.width),
            int(m_plan.height), AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr));
        if (!m_scaler) {
            m_failure = writerFailed(QStringLiteral("unsupported codec settings"),
                QStringLiteral("no conversion from %1x%2").arg(image.width()).arg(image.height()));
            return false;
        }
        m_scaledFrom = image.size();
        // Screen pixels are full-range RGB; the file is BT.709 with limited range, as players expect.
        const int *bt709 = sws_getCoefficients(SWS_CS_ITU709);
        sws_setColorspaceDetails(m_scaler.get(), bt709, 1, bt709, 0, 0, 1 << 16, 1 << 16);
    }
    const uint8_t *const source[] = {image.constBits()};
    const int sourceStride[] = {int(image.bytesPerLine())};
    sws_scale(m_scaler.get(), source, sourceStride, 0, image.height(), m_picture->data, m_picture->linesize);
    return true;
}

bool FfmpegVideoWriter::encode(const AVFrame *frame)
{
    if (const int code = avcodec_send_frame(m_encoder.get(), frame); code < 0) {
        m_failure = writerFailed(libraryErrorText(code), QStringLiteral("encoding"));
        return false;
    }
    return writePackets();
}

bool FfmpegVideoWriter::writePackets()
{
    for (;;) {
        const int received = avcodec_receive_packet(m_encoder.get(), m_packet.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF)
            return true;
        if (received < 0) {
            m_failure = writerFailed(libraryErrorText(received), QStringLiteral("encoding"));
            return false;
        }
        m_packet->stream_index = m_stream->index;
        av_packet_rescale_ts(m_packet.get(), m_encoder->time_base, m_stream->time_base);
        // A fragment's times are the sum of its pictures' durations, so each picture waits for
        // the next one, which tells how long it is shown.
        if (m_held->data) {
            m_held->duration = std::max<int64_t>(m_packet->dts - m_held->dts, 1);
            if (!writeHeld())
                return false;
        }
        av_packet_move_ref(m_held.get(), m_packet.get());
    }
}

bool FfmpegVideoWriter::writeHeld()
{
    int code = av_write_frame(m_output.get(), m_held.get());
    av_packet_unref(m_held.get());
    // A screen that stops changing sends no more pictures, so a fragment waiting for the next
    // one could wait for ever: each picture closes its own, which goes to the kernel at once
    // and to the disk within a second. The moof boxes this costs go when finish() rewrites
    // the file.
    if (code >= 0)
        code = av_write_frame(m_output.get(), nullptr);
    avio_flush(m_output->pb);
    if (code < 0) {
        m_failure = writeFailure(QStringLiteral("writing"), code);
        return false;
    }
    return true;
}

void FfmpegVideoWriter::syncToDisk(bool force)
{
    const RecordingClock::time_point now = RecordingClock::now();
    if (!force && now - m_lastSync < std::chrono::seconds(1))
        return;
    m_lastSync = now;
    // Closed fragments are with the kernel already; this puts them on the disk, so that a
    // lost machine keeps them too.
    if (m_output->pb->error < 0 && !m_failure)
        m_failure = writeFailure(QStringLiteral("writing"), m_output->pb->error);
    fdatasync(m_fd);
    const qint64 available = freeBytes(m_fd, m_path);
    m_spaceRunningOut = available >= 0 && available < reserveFor(m_plan);
}

std::optional<Error> FfmpegVideoWriter::stopReason() const
{
    if (m_failure)
        return m_failure;
    if (m_spaceRunningOut)
        return Error{QStringLiteral("The disk is almost full: the recording stopped to keep what it has."), m_path};
    return std::nullopt;
}

void FfmpegVideoWriter::closeFile()
{
    m_output.reset();
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}

Result<QString> FfmpegVideoWriter::finish(std::optional<RecordingClock::time_point> endTime)
{
    if (!m_lastPresentationTime) {
        const std::optional<Error> failure = m_failure;
        cancel();
        return failure ? *failure : toError(RecordingError::empty);
    }
    if (!m_failure) {
        // The last picture stays until the stop moment: it is sent once more to end there.
        const int64_t end = endTime ? ticksSince(*m_firstTime, *endTime) : *m_lastPresentationTime;
        if (end - frameTicks > *m_lastPresentationTime)
            repeatLastPicture(end - frameTicks);
        if (!m_failure)
            encode(nullptr);
        if (!m_failure && m_held->data) {
            m_held->duration = av_rescale_q(frameTicks, timeBase, m_stream->time_base);
            writeHeld();
        }
        if (const int code = av_write_trailer(m_output.get()); code < 0 && !m_failure)
            m_failure = writeFailure(QStringLiteral("finishing"), code);
        if (!m_failure)
            syncToDisk(true);
    }
    // What was written stays where it is, playable up to the failure.
    if (m_failure) {
        closeFile();
        return *m_failure;
    }
    // Rewritten while the file is still held, so that nobody recovers it meanwhile.
    if (Result<void> rewritten = rewriteWithIndexFirst(m_path); !rewritten)
        qWarning("The recording keeps its index at the end: %s (%s)", qUtf8Printable(rewritten.error().message),
            qUtf8Printable(rewritten.error().detail));
    closeFile();
    return m_path;
}

void FfmpegVideoWriter::cancel()
{
    closeFile();
    QFile::remove(m_path);
    QFile::remove(m_path + QStringLiteral(".index"));
}

Result<void> FfmpegVideoWriter::recover(const QString &path)
{
    quietLibraryLogging();
    return rewriteWithIndexFirst(path);
}

// Only ever called from Qorvel's own C++, which knows the types.
// NOLINTNEXTLINE(clang-diagnostic-return-type-c-linkage)
extern "C" __attribute__((visibility("default"))) Result<std::unique_ptr<VideoFileWriter>> qorvelMediaOpenVideoWriter(
    const QString &path, const VideoEncodingPlan &plan)
{
    return FfmpegVideoWriter::open(path, plan);
}

// NOLINTNEXTLINE(clang-diagnostic-return-type-c-linkage)
extern "C" __attribute__((visibility("default"))) Result<void> qorvelMediaRecoverRecording(const QString &path)
{
    return FfmpegVideoWriter::recover(path);
}
