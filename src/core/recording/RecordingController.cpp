#include "RecordingController.h"

#include <QPointer>

RecordingController::RecordingController(Parts parts, QObject *parent)
    : QObject(parent)
    , m_parts(std::move(parts))
{
    m_timer.setInterval(250);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        if (m_started.isValid() && onTick)
            onTick(double(m_started.elapsed()) / 1000);
    });
    m_parts.enableCancelShortcut(false);
}

RecordingController::~RecordingController()
{
    // A recording still being prepared leaves nothing; one under way stays on the disk, and
    // the next start recovers and delivers it.
    if (m_session && m_phase == Phase::starting)
        m_session->cancel();
}

void RecordingController::start(const CaptureTarget &target)
{
    if (m_phase != Phase::idle)
        return;
    m_phase = Phase::starting;
    m_cancelRequested = false;
    m_live = true;
    m_parts.enableCancelShortcut(true);

    Result<std::unique_ptr<RecordingSession>> session = m_parts.makeSession(target);
    if (!session)
        return end(Result<QString>(session.error()));
    m_session = std::move(session).value();
    if (!m_parts.countdownWanted())
        return beginCapture();
    QPointer<RecordingController> self(this);
    m_parts.overlays.runCountdown(
        m_session->capturedFrame(), [this, self] { return self && !m_cancelRequested; },
        [this, self](bool ranOut) {
            if (!self)
                return;
            if (!ranOut || m_cancelRequested)
                return cancelSession();
            beginCapture();
        });
}

void RecordingController::beginCapture()
{
    if (m_cancelRequested)
        return cancelSession();
    // The source ending by itself (window closed, display gone) finishes what was recorded.
    m_session->onStreamStopped = [this](const Error &) { stop(); };
    if (Result<void> started = m_session->start(); !started) {
        m_session->cancel();
        return end(Result<QString>(started.error()));
    }
    m_parts.overlays.showFrame(m_session->capturedFrame());
    m_started.start();
    m_phase = Phase::recording;
    if (onTick)
        onTick(0.0);
    m_timer.start();
}

void RecordingController::stop()
{
    if (m_phase != Phase::recording || !m_session)
        return;
    m_phase = Phase::finishing;
    tearDown();
    m_session->stop([this](const Result<QString> &file) { end(file); });
}

void RecordingController::cancel()
{
    switch (m_phase) {
    case Phase::idle:
    case Phase::finishing:
        return;
    case Phase::starting:
        m_cancelRequested = true;
        return;
    case Phase::recording:
        m_phase = Phase::finishing;
        tearDown();
        cancelSession();
        return;
    }
}

void RecordingController::cancelSession()
{
    m_phase = Phase::finishing;
    m_session->cancel([this] { end(std::nullopt); });
}

void RecordingController::tearDown()
{
    if (!m_live)
        return;
    m_live = false;
    m_timer.stop();
    // The frame is up from the moment capturing started.
    if (m_started.isValid())
        m_parts.overlays.hideFrame();
    if (onTick)
        onTick(std::nullopt);
    m_parts.enableCancelShortcut(false);
}

void RecordingController::end(std::optional<Result<QString>> outcome)
{
    tearDown();
    // The session may be the one calling back: it goes once its call has returned.
    if (m_session)
        m_session.release()->deleteLater();
    m_started.invalidate();
    m_phase = Phase::idle;
    if (outcome && onFinished)
        onFinished(*outcome);
}
