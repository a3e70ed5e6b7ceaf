#include "InstanceCommands.h"

#include "CommandLine.h"
#include "CompositionRoot.h"
#include "FreedesktopNotifier.h"
#include "ImageEncoder.h"
#include "ScreenshotCommand.h"
#include "ScreenshotHandOver.h"
#include "SelectionScreenshot.h"

#include <QBuffer>
#include <QDir>
#include <QTextStream>

namespace {

// For -o FILE: the command's own output is the report.
class DiscardingNotifier : public Notifier
{
public:
    void post(const NotificationRequest &) override { }
};

} // namespace

InstanceCommands::InstanceCommands(CompositionRoot &root, QObject *parent)
    : QObject(parent)
    , m_root(root)
{
    m_notifier = m_root.makeNotifier();
    m_quiet = std::make_unique<DiscardingNotifier>();
    m_history = std::make_unique<UploadHistory>(m_root.secrets());
    const auto makeUploader = [this]() { return m_root.makeAccountUploader(); };
    m_output = std::make_unique<CaptureOutput>(CaptureOutput::Services{
        m_root.preferences(), m_root.stagingFolders(), *m_history, *m_notifier, m_clipboard, makeUploader});
    m_quietOutput = std::make_unique<CaptureOutput>(CaptureOutput::Services{
        m_root.preferences(), m_root.stagingFolders(), *m_history, *m_quiet, m_clipboard, makeUploader});
}

InstanceCommands::~InstanceCommands() = default;

bool InstanceCommands::servable(const Invocation &invocation)
{
    return invocation.action == Invocation::Action::screenshot
        && invocation.screenshot.outputPath != QLatin1String("-");
}

CommandAnswer InstanceCommands::run(const ForwardedCommand &command)
{
    Invocation invocation = CommandLine::parse(command.arguments);
    if (!servable(invocation))
        return {125, {}, QStringLiteral("not served by the running instance")};
    ScreenshotOptions &options = invocation.screenshot;
    if (!options.outputPath.isEmpty())
        options.outputPath = QDir(command.workingDirectory).absoluteFilePath(options.outputPath);

    CommandAnswer answer;
    QTextStream errors(&answer.errors);
    const Result<std::shared_ptr<ScreenCapturePlatform>> platform = m_root.screenCapture(X11Grabber::Pattern::repeated);
    if (!platform) {
        answer.status = 1;
        errors << "qorvel: " << platform.error().message << '\n';
        return answer;
    }
    SilentShutterSound silence;
    // A selection is the user's own capture: it sounds as the tray's do. A scripted one is silent.
    ShutterSound &shutter = options.select ? static_cast<ShutterSound &>(m_shutter) : silence;
    const auto deliver = [this, &shutter](ScreenshotHandOver::Capture capture, bool notify) {
        ScreenshotHandOver handOver(
            m_root.preferences(), shutter, notify ? *m_notifier : *m_quiet, &ImageEncoder::encode);
        return handOver.handOverAndWait(std::move(capture), notify ? *m_output : *m_quietOutput);
    };
    QBuffer output(&answer.output);
    output.open(QIODevice::WriteOnly);
    answer.status = options.select
        ? SelectionScreenshot::run(options, m_root, **platform, deliver, output, errors)
        : ScreenshotCommand(**platform, m_root.preferences(), deliver).run(options, output, errors);
    errors.flush();
    return answer;
}
