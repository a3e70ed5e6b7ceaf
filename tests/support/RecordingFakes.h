#pragma once

#include "FrameSource.h"
#include "ScreenCapturePlatform.h"
#include "VideoFileWriter.h"

#include <atomic>
#include <semaphore>

// Stand-ins for a recording's platform parts: a real display cannot be listed at any origin,
// a real source cannot be made to stop on demand, nor a real encoder to lag.
class ListedScreens : public ScreenCapturePlatform
{
public:
    ScreenContent content;
    Result<ScreenContent> shareableContent() override { return content; }
    Result<Bitmap> grabDisplayArea(const ScreenDisplay &, const QRectF &, PixelSize) override { return Error{}; }
    Result<Bitmap> grabWindow(const ScreenWindow &, double, PixelSize, WindowShadow) override { return Error{}; }
    std::optional<QPointF> pointerPosition() override { return std::nullopt; }
};

struct DrivenSource : FrameSource
{
    FrameHandler frame;
    StopHandler stopped;
    Result<void> start(FrameHandler onFrame, StopHandler onStopped) override
    {
        frame = std::move(onFrame);
        stopped = std::move(onStopped);
        return {};
    }
    void stop() override { }
};

struct HeldWriter : VideoFileWriter
{
    std::counting_semaphore<64> go{0};
    std::atomic<qint64> written{0};
    void append(const VideoFrame &frame) override
    {
        if (frame.image.isNull())
            return;
        go.acquire();
        ++written;
    }
    Result<QString> finish(std::optional<RecordingClock::time_point>) override { return QStringLiteral("file.mp4"); }
    void cancel() override { }
    qint64 framesWritten() const override { return written; }
    std::optional<Error> stopReason() const override { return std::nullopt; }
};
