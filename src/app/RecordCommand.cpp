#include "RecordCommand.h"

#include "CommandLineDelivery.h"
#include "CompositionRoot.h"
#include "ErrorOutput.h"
#include "ExclusiveFile.h"
#include "RecordingFiles.h"
#include "ScreenshotCommand.h"
#include "TerminalText.h"
#include "UnixSignalWatcher.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <csignal>
#include <unistd.h>

namespace {

QString megabytes(qint64 bytes)
{
    return QString::number(double(bytes) / 1e6, 'f', 1) + QStringLiteral(" MB");
}

QString clock(qint64 milliseconds)
{
    const qint64 seconds = milliseconds / 1000;
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

int RecordCommand::run(CompositionRoot &root, const RecordingRequest &request,
    std::shared_ptr<ScreenCapturePlatform> screens, QTextStream &errors)
{
    // A user's file is never replaced: a name already taken is refused before anything is recorded.
    if (!request.outputPath.isEmpty() && QFileInfo::exists(request.outputPath))
        return printError(errors, request.outputPath + QStringLiteral(" already exists"));

    CommandLineDelivery delivery;
    std::optional<CaptureServices> services;
    if (request.select || request.outputPath.isEmpty()) {
        Result<CaptureServices> made = root.makeCaptureServices(delivery.desk());
        if (!made)
            return printError(errors, made.error().message);
        services = std::move(made).value();
    }
    RecordCommand command(root, request, delivery, services ? &*services : nullptr, errors);
    command.begin(std::move(screens));
    // The command's one wait, at its outermost layer.
    while (!command.m_status)
        QCoreApplication::exec();
    return *command.m_status;
}

RecordCommand::RecordCommand(CompositionRoot &root, const RecordingRequest &request, CommandLineDelivery &delivery,
    CaptureServices *services, QTextStream &errors)
    : m_root(root)
    , m_request(request)
    , m_delivery(delivery)
    , m_services(services)
    , m_errors(errors)
{
}

RecordCommand::~RecordCommand() = default;

void RecordCommand::begin(std::shared_ptr<ScreenCapturePlatform> screens)
{
    if (!m_request.select) {
        const Result<CaptureTarget> target
            = CaptureTarget::choose(m_request.windowId, m_request.displayId, m_request.areaInPoints, *screens);
        if (!target)
            return end(printError(m_errors, target.error()));
        return record(*target, std::move(screens));
    }
    m_services->selector->select(m_root.preferences().boolValue(PreferenceKey::showMagnifier),
        [this](const Result<std::optional<TargetSelector::Selection>> &chosen) {
            if (!chosen)
                return end(printError(m_errors, chosen.error()));
            if (!*chosen)
                return end(printError(m_errors, QStringLiteral("the selection was cancelled")));
            record((*chosen)->target, (*chosen)->screens);
        });
}

void RecordCommand::record(const CaptureTarget &target, std::shared_ptr<ScreenCapturePlatform> screens)
{
    m_screens = std::move(screens);
    Result<QString> path = RecordingFiles(m_root.stagingFolders().recordings()).makeRecordingURL();
    if (!path)
        return end(printError(m_errors, path.error()));
    m_path = *path;
    const RecordingSettings settings = m_request.settingsOver(readRecordingSettings(m_root.preferences()));
    Result<std::unique_ptr<RecordingSession>> session = RecordingSession::create(
        target, m_path, settings, *m_screens, CompositionRoot::frameSources(), CompositionRoot::videoWriters());
    if (!session)
        return end(printError(m_errors, session.error()));
    m_session = std::move(session).value();
    m_session->onStreamStopped = [this](const Error &why) {
        printError(m_errors, why);
        stop();
    };
    if (Result<void> started = m_session->start(); !started) {
        m_session->cancel();
        return end(printError(m_errors, started.error()));
    }
    m_elapsed.start();

    // Ctrl+C, a SIGTERM or a hang-up end the recording the way the duration does: the file is
    // finished, not lost.
    m_signals = std::make_unique<UnixSignalWatcher>(std::initializer_list<int>{SIGINT, SIGTERM, SIGHUP});
    connect(m_signals.get(), &UnixSignalWatcher::signalled, this, &RecordCommand::stop);
    if (m_request.durationSeconds) {
        m_duration.setSingleShot(true);
        m_duration.setTimerType(Qt::PreciseTimer);
        connect(&m_duration, &QTimer::timeout, this, &RecordCommand::stop);
        m_duration.start(std::chrono::milliseconds(qint64(*m_request.durationSeconds * 1000)));
    }
    if (isatty(STDERR_FILENO)) {
        connect(&m_progress, &QTimer::timeout, this, &RecordCommand::showProgress);
        m_progress.start(500);
        showProgress();
    }
}

void RecordCommand::showProgress()
{
    m_errors << "\rRecording " << clock(m_elapsed.elapsed()) << "  " << megabytes(QFileInfo(m_path).size())
             << "  (Ctrl+C stops)\x1b[K" << Qt::flush;
}

void RecordCommand::stop()
{
    if (m_stopping || !m_session)
        return;
    m_stopping = true;
    m_recordedMs = m_elapsed.elapsed();
    m_duration.stop();
    if (m_progress.isActive()) {
        m_progress.stop();
        m_errors << "\r\x1b[K" << Qt::flush;
    }
    m_session->stop([this](const Result<QString> &file) { finished(file); });
}

void RecordCommand::finished(const Result<QString> &file)
{
    const RecordingSession::Counts counts = m_session->counts();
    if (!file) {
        printError(m_errors, file.error());
        // A failed write keeps what it wrote.
        if (QFileInfo::exists(m_path))
            printError(m_errors, QStringLiteral("what was recorded is in ") + printableText(m_path));
        return end(1);
    }
    m_errors << QStringLiteral("Recorded %1 s: %2 frames written, %3 idle, %4 dropped, %5\n")
                    .arg(QString::number(double(m_recordedMs) / 1000, 'f', 1))
                    .arg(counts.written)
                    .arg(counts.idle)
                    .arg(counts.dropped)
                    .arg(megabytes(QFileInfo(*file).size()))
             << Qt::flush;
    if (m_request.outputPath.isEmpty())
        return deliver(*file);
    if (Result<void> moved = ExclusiveFile::move(*file, m_request.outputPath); !moved) {
        printError(m_errors, moved.error());
        printError(m_errors, QStringLiteral("the recording is in ") + printableText(*file));
        return end(1);
    }
    QTextStream(stdout) << printableText(QFileInfo(m_request.outputPath).absoluteFilePath()) << '\n';
    end(0);
}

void RecordCommand::deliver(const QString &file)
{
    m_services->output->deliverRecording(file, [this](const DeliveryOutcome &delivered) {
        ScreenshotOutcome outcome;
        outcome.kind = ScreenshotOutcome::Kind::delivered;
        outcome.delivery = delivered;
        const CommandAnswer answer = ScreenshotCommand::report(m_delivery.handOver(outcome));
        m_errors << answer.errors << Qt::flush;
        QTextStream(stdout) << answer.output;
        end(answer.status);
    });
}

void RecordCommand::end(int status)
{
    m_status = status;
    QCoreApplication::quit();
}
