#include "RecordingSession.h"

#include "CaptureError.h"
#include "PixelSize.h"
#include "RecordingError.h"
#include "StillCapture.h"

#include <algorithm>

namespace {

// Frames waiting for the encoder beyond this are dropped: a recording that cannot keep up loses
// frames, never memory or latency.
constexpr int maximumPendingFrames = 3;

struct ResolvedTarget
{
    QRectF capturedFrame; // global points
    double scale = 1;
    FrameSourceRequest request;
};

// `rectInPoints` relative to `display`'s top-left corner, in the screen's device pixels.
QRect pixelRect(const ScreenDisplay &display, const QRectF &rectInPoints)
{
    const PixelSize size = pixelSize(rectInPoints.size(), display.scale);
    const QPoint origin = display.pixelFrame.topLeft() + pixelOrigin(rectInPoints.topLeft(), display.scale);
    return {origin, QSize(int(size.width), int(size.height))};
}

Result<ResolvedTarget> resolve(const CaptureTarget &target, const ScreenContent &content)
{
    if (const auto *window = std::get_if<CaptureTarget::Window>(&target.value())) {
        const auto found = std::find_if(content.windows.cbegin(), content.windows.cend(),
            [window](const ScreenWindow &entry) { return entry.id == window->windowId; });
        if (found == content.windows.cend())
            return toError(RecordingError::targetNotFound);
        ResolvedTarget resolved{found->frame, 1, {}};
        resolved.request.windowId = found->id;
        if (const ScreenDisplay *display = StillCapture::displayHolding(content.displays, found->frame)) {
            resolved.scale = display->scale;
            resolved.request.pixelRect = pixelRect(*display, found->frame.translated(-display->frame.topLeft()));
        } else {
            resolved.request.pixelRect = found->frame.toAlignedRect();
        }
        return resolved;
    }

    const bool isArea = std::holds_alternative<CaptureTarget::Area>(target.value());
    const quint32 displayId = isArea ? std::get<CaptureTarget::Area>(target.value()).displayId
                                     : std::get<CaptureTarget::Display>(target.value()).displayId;
    const auto display = std::find_if(content.displays.cbegin(), content.displays.cend(),
        [displayId](const ScreenDisplay &entry) { return entry.id == displayId; });
    if (display == content.displays.cend())
        return toError(RecordingError::targetNotFound);
    const QRectF whole(QPointF(0, 0), display->frame.size());
    const QRectF rect
        = isArea ? std::get<CaptureTarget::Area>(target.value()).rectInPoints.normalized().intersected(whole) : whole;
    return ResolvedTarget{
        rect.translated(display->frame.topLeft()), display->scale, {pixelRect(*display, rect), {}, false}};
}

} // namespace

Result<std::unique_ptr<RecordingSession>> RecordingSession::create(const CaptureTarget &target, const QString &path,
    const RecordingSettings &settings, ScreenCapturePlatform &platform, const FrameSourceFactory &sources,
    const VideoFileWriterFactory &writers)
{
    Result<ScreenContent> content = platform.shareableContent();
    if (!content)
        return content.error();
    Result<ResolvedTarget> resolved = resolve(target, *content);
    if (!resolved)
        return resolved.error();
    if (resolved->request.pixelRect.isEmpty())
        return toError(CaptureError::emptySelection);
    resolved.value().request.showsCursor = settings.showsCursor;

    const VideoEncodingPlan plan = makePlan(resolved->capturedFrame.size(), resolved->scale, settings);
    Result<std::unique_ptr<VideoFileWriter>> writer = writers(path, plan);
    if (!writer)
        return writer.error();
    Result<std::unique_ptr<FrameSource>> source = sources(resolved->request);
    if (!source) {
        (*writer)->cancel();
        return source.error();
    }
    return std::unique_ptr<RecordingSession>(
        new RecordingSession(resolved->capturedFrame, plan, std::move(writer).value(), std::move(source).value()));
}

RecordingSession::RecordingSession(QRectF capturedFrame, VideoEncodingPlan plan,
    std::unique_ptr<VideoFileWriter> writer, std::unique_ptr<FrameSource> source)
    : m_capturedFrame(capturedFrame)
    , m_plan(plan)
    , m_writer(std::move(writer))
    , m_source(std::move(source))
    , m_queue(std::make_unique<SerialQueue>())
{
}

RecordingSession::~RecordingSession()
{
    stopSource();
    // Whatever was queued runs before the queue's thread ends; the writer outlives it.
    m_queue.reset();
}

Result<void> RecordingSession::start()
{
    Result<void> started = m_source->start(
        [this](VideoFrame frame) { takeFrame(std::move(frame)); }, [this](const Error &why) { reportStop(why); });
    m_sourceRunning = started.ok();
    return started;
}

void RecordingSession::takeFrame(VideoFrame frame)
{
    // An idle frame still tells the writer that time passes, so that the last picture of a
    // screen that has gone still reaches the disk; never at the cost of a queue of work.
    const bool idle = frame.status != VideoFrame::Status::complete;
    if (idle)
        ++m_idle;
    if (m_pending.load() >= (idle ? 1 : maximumPendingFrames)) {
        if (!idle)
            ++m_dropped;
        return;
    }
    ++m_pending;
    m_queue->post([this, frame = std::move(frame)] {
        m_writer->append(frame);
        m_written = m_writer->framesWritten();
        --m_pending;
        if (const std::optional<Error> reason = m_writer->stopReason())
            reportStop(*reason);
    });
}

void RecordingSession::reportStop(const Error &why)
{
    if (m_stopReported.exchange(true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this, why] {
            if (onStreamStopped)
                onStreamStopped(why);
        },
        Qt::QueuedConnection);
}

void RecordingSession::stopSource()
{
    if (m_sourceRunning)
        m_source->stop();
    m_sourceRunning = false;
}

void RecordingSession::stop(std::function<void(Result<QString>)> done)
{
    const RecordingClock::time_point endTime = RecordingClock::now();
    stopSource();
    m_queue->post([this, endTime, done = std::move(done)] {
        Result<QString> finished = m_writer->finish(endTime);
        m_written = m_writer->framesWritten();
        QMetaObject::invokeMethod(
            this, [done, finished] { done(finished); }, Qt::QueuedConnection);
    });
}

void RecordingSession::cancel(std::function<void()> done)
{
    stopSource();
    m_queue->post([this, done = std::move(done)] {
        m_writer->cancel();
        QMetaObject::invokeMethod(
            this,
            [done] {
                if (done)
                    done();
            },
            Qt::QueuedConnection);
    });
}

RecordingSession::Counts RecordingSession::counts() const
{
    return Counts{m_written.load(), m_idle.load(), m_dropped.load()};
}
