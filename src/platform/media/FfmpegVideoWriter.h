#pragma once

#include "FfmpegSupport.h"
#include "VideoFileWriter.h"

#include <QSize>
#include <QString>

#include <chrono>
#include <memory>

// VideoFileWriter over libavcodec (libx264, libx265) and libavformat. While a recording runs
// the file is a fragmented MP4 flushed to the disk at least once a second, so that a killed
// process or a lost machine leaves everything but the last second playable; finish() rewrites
// it as a plain MP4 with its index at the front, for players that stream it.
class FfmpegVideoWriter final : public VideoFileWriter
{
public:
    static Result<std::unique_ptr<VideoFileWriter>> open(const QString &path, const VideoEncodingPlan &plan);
    ~FfmpegVideoWriter() override;

    void append(const VideoFrame &frame) override;
    Result<QString> finish(std::optional<RecordingClock::time_point> endTime) override;
    void cancel() override;
    qint64 framesWritten() const override { return m_framesWritten; }
    std::optional<Error> stopReason() const override;

    // Makes a recording that its process left unfinished (killed, crashed) a plain MP4 of every
    // whole fragment in it. Fails with RecordingError::empty when not one frame survived.
    static Result<void> recover(const QString &path);

    // Bytes that must stay free: a minute at the plan's peak bit rate and a margin.
    static qint64 reserveFor(const VideoEncodingPlan &plan);

private:
    FfmpegVideoWriter(QString path, VideoEncodingPlan plan, CodecPtr encoder);

    Result<void> startFile();
    // Into m_picture, at the plan's size.
    bool convert(const Bitmap &image);
    bool encode(const AVFrame *frame);
    // The last picture once more, shown from `pts` on.
    void repeatLastPicture(int64_t pts);
    bool writePackets();
    bool writeHeld();
    void syncToDisk(bool force);
    void closeFile();
    Error writeFailure(const QString &step, int code) const;

    // FFmpeg 5 hands the buffer over without const.
    static int writeToFile(void *opaque, uint8_t *data, int size);
    static int64_t seekInFile(void *opaque, int64_t offset, int whence);

    QString m_path;
    VideoEncodingPlan m_plan;
    CodecPtr m_encoder;
    OutputPtr m_output;
    AVStream *m_stream = nullptr;
    ScalerPtr m_scaler;
    QSize m_scaledFrom;
    FramePtr m_picture;
    PacketPtr m_packet;
    // The last picture out of the encoder, written once the next one says how long it lasts.
    PacketPtr m_held;
    int m_fd = -1;
    int m_writeErrno = 0;

    std::optional<RecordingClock::time_point> m_firstTime;
    std::optional<int64_t> m_lastPresentationTime; // in the encoder's time base
    std::optional<Error> m_failure;
    qint64 m_framesWritten = 0;
    bool m_spaceRunningOut = false;
    RecordingClock::time_point m_lastSync;
};
