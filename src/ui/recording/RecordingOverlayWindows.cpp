#include "RecordingOverlayWindows.h"

#include "CountdownWindow.h"
#include "RecordingFrameWindow.h"

#include <QGuiApplication>
#include <QScreen>

namespace {

constexpr int stepsPerDigit = 10; // a tenth of a second each
// After the countdown is unmapped, what was behind it is drawn again before capturing starts.
constexpr int repaintDelayMs = 100;

} // namespace

RecordingOverlayWindows::RecordingOverlayWindows(QObject *parent)
    : QObject(parent)
{
    m_steps.setInterval(100);
    m_steps.setTimerType(Qt::PreciseTimer);
    connect(&m_steps, &QTimer::timeout, this, &RecordingOverlayWindows::step);
}

RecordingOverlayWindows::~RecordingOverlayWindows() = default;

void RecordingOverlayWindows::runCountdown(
    const QRectF &region, std::function<bool()> stillWanted, std::function<void(bool)> done)
{
    m_stillWanted = std::move(stillWanted);
    m_done = std::move(done);
    m_countdown = std::make_unique<CountdownWindow>(region);
    m_countdown->showDigit(3);
    m_countdown->show();
    m_stepsLeft = 3 * stepsPerDigit;
    m_steps.start();
}

void RecordingOverlayWindows::step()
{
    --m_stepsLeft;
    if (!m_stillWanted())
        return endCountdown(false);
    if (m_stepsLeft == 0)
        return endCountdown(true);
    if (m_stepsLeft % stepsPerDigit == 0)
        m_countdown->showDigit(m_stepsLeft / stepsPerDigit);
}

void RecordingOverlayWindows::endCountdown(bool ranOut)
{
    m_steps.stop();
    m_countdown->hide();
    m_countdown.reset();
    QTimer::singleShot(repaintDelayMs, this, [done = std::move(m_done), ranOut] { done(ranOut); });
}

void RecordingOverlayWindows::showFrame(const QRectF &region)
{
    QList<QRectF> screens;
    for (const QScreen *screen : QGuiApplication::screens())
        screens << QRectF(screen->geometry());
    m_frame = std::make_unique<RecordingFrameWindow>(region, screens);
    m_frame->show();
}

void RecordingOverlayWindows::hideFrame()
{
    if (m_frame)
        m_frame->hide();
    m_frame.reset();
}
