#pragma once

#include "CaptureTarget.h"
#include "RecordingOverlays.h"
#include "RecordingSession.h"
#include "Result.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

// Runs at most one recording at a time: prepares its session, shows the countdown, starts
// capturing, frames the region, reports the elapsed time and hands the finished file (or why
// there is none) back once. A cancelled recording leaves no file and reports nothing. Main
// thread only.
class RecordingController : public QObject
{
    Q_OBJECT

public:
    enum class Phase { idle, starting, recording, finishing };

    // A prepared session for the target: settings read, file named, writer made.
    using MakeSession = std::function<Result<std::unique_ptr<RecordingSession>>(const CaptureTarget &target)>;

    struct Parts
    {
        MakeSession makeSession;
        RecordingOverlays &overlays;
        std::function<bool()> countdownWanted; // the "videoCountdown" preference, read at each start
        // The cancel shortcut (Escape) is held only while a recording is prepared or runs.
        std::function<void(bool enabled)> enableCancelShortcut;
    };

    explicit RecordingController(Parts parts, QObject *parent = nullptr);
    ~RecordingController() override;

    Phase phase() const { return m_phase; }

    // Ignored unless idle.
    void start(const CaptureTarget &target);
    // Ends the recording and keeps the file; only while recording.
    void stop();
    // Abandons the recording; while starting it is noticed at the next check.
    void cancel();

    // 0 when capturing starts, then the elapsed seconds four times a second; none once no
    // recording runs any more.
    std::function<void(std::optional<double> elapsed)> onTick;
    // The file, or the error; once per recording that did not end by a cancel.
    std::function<void(const Result<QString> &file)> onFinished;

private:
    void beginCapture();
    void cancelSession();
    void tearDown();
    // None: the cancel ending.
    void end(std::optional<Result<QString>> outcome);

    Parts m_parts;
    Phase m_phase = Phase::idle;
    std::unique_ptr<RecordingSession> m_session;
    QTimer m_timer;
    QElapsedTimer m_started;
    bool m_cancelRequested = false;
    bool m_live = false; // something to tear down: the shortcut, the ticks, perhaps the frame
};
