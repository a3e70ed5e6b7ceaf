#pragma once

#include "CaptureTarget.h"
#include "FrameSource.h"
#include "RecordingSettings.h"
#include "Result.h"
#include "ScreenCapturePlatform.h"
#include "SerialQueue.h"
#include "VideoEncodingPlan.h"
#include "VideoFileWriter.h"

#include <QObject>
#include <QRectF>

#include <atomic>
#include <functional>
#include <memory>

// One screen recording: the target resolved against what is on screen now, the plan fixed, and
// the frame source's frames poured into the file writer through one serial queue. Lives on the
// main thread; every callback it makes comes back there.
class RecordingSession : public QObject
{
    Q_OBJECT

public:
    struct Counts
    {
        qint64 written = 0; // frames in the file
        qint64 idle = 0; // frames that showed nothing new, so were not written
        qint64 dropped = 0; // frames lost because the encoder was busy
    };

    // Fails with RecordingError::targetNotFound when the display or window is gone, and with
    // the writer's error when it cannot be made for the plan.
    static Result<std::unique_ptr<RecordingSession>> create(const CaptureTarget &target, const QString &path,
        const RecordingSettings &settings, ScreenCapturePlatform &platform, const FrameSourceFactory &sources,
        const VideoFileWriterFactory &writers);
    ~RecordingSession() override;

    // In global points, top-left origin.
    QRectF capturedFrame() const { return m_capturedFrame; }
    const VideoEncodingPlan &plan() const { return m_plan; }

    Result<void> start();
    // Stops the frames and finishes the file: `done` gets its path, or why there is none.
    void stop(std::function<void(Result<QString>)> done);
    // Stops the frames and removes the file.
    void cancel(std::function<void()> done = {});

    // Frames so far; `written` is final once stop() is done.
    Counts counts() const;

    // Called once, on the main thread, when the recording ended by itself (the source stopped,
    // the disk is almost full). The session then waits for stop() or cancel().
    std::function<void(const Error &why)> onStreamStopped;

private:
    RecordingSession(QRectF capturedFrame, VideoEncodingPlan plan, std::unique_ptr<VideoFileWriter> writer,
        std::unique_ptr<FrameSource> source);

    void takeFrame(VideoFrame frame);
    void reportStop(const Error &why);
    void stopSource();

    QRectF m_capturedFrame;
    VideoEncodingPlan m_plan;
    std::unique_ptr<VideoFileWriter> m_writer;
    std::unique_ptr<FrameSource> m_source;
    bool m_sourceRunning = false;

    std::atomic<int> m_pending{0};
    std::atomic<qint64> m_idle{0};
    std::atomic<qint64> m_dropped{0};
    std::atomic<qint64> m_written{0};
    std::atomic<bool> m_stopReported{false};
    // Declared last: destroyed first, so that its queued jobs still find the writer.
    std::unique_ptr<SerialQueue> m_queue;
};
