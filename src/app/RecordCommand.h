#pragma once

#include "CaptureServices.h"
#include "RecordingRequest.h"
#include "RecordingSession.h"
#include "ScreenCapturePlatform.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTextStream>
#include <QTimer>

#include <memory>
#include <optional>

class CommandLineDelivery;
class CompositionRoot;
class UnixSignalWatcher;

// `qorvel record` in the command's own process: picks the target, records until Ctrl+C, a
// SIGTERM, the duration or the source's end, then writes the named file or delivers the
// recording as the tray would.
class RecordCommand : public QObject
{
    Q_OBJECT

public:
    // Returns the command's exit status once the recording is written and delivered.
    static int run(CompositionRoot &root, const RecordingRequest &request,
        std::shared_ptr<ScreenCapturePlatform> screens, QTextStream &errors);

private:
    RecordCommand(CompositionRoot &root, const RecordingRequest &request, CommandLineDelivery &delivery,
        CaptureServices *services, QTextStream &errors);
    ~RecordCommand() override;

    void begin(std::shared_ptr<ScreenCapturePlatform> screens);
    void record(const CaptureTarget &target, std::shared_ptr<ScreenCapturePlatform> screens);
    void stop();
    void finished(const Result<QString> &file);
    void deliver(const QString &file);
    void showProgress();
    void end(int status);

    CompositionRoot &m_root;
    const RecordingRequest &m_request;
    CommandLineDelivery &m_delivery;
    CaptureServices *m_services;
    QTextStream &m_errors;
    std::shared_ptr<ScreenCapturePlatform> m_screens;
    std::unique_ptr<RecordingSession> m_session;
    std::unique_ptr<UnixSignalWatcher> m_signals;
    QString m_path;
    QTimer m_duration;
    QTimer m_progress;
    QElapsedTimer m_elapsed;
    qint64 m_recordedMs = 0;
    bool m_stopping = false;
    std::optional<int> m_status;
};
