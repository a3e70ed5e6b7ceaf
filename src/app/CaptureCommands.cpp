#include "CaptureCommands.h"

#include "CommandLine.h"
#include "CommandLineDelivery.h"
#include "CompositionRoot.h"
#include "DisplaysCommand.h"
#include "ErrorOutput.h"
#include "RecordCommand.h"
#include "ScreenshotCommand.h"
#include "WindowListSource.h"
#include "WindowsCommand.h"

#include <QApplication>
#include <QTextStream>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

int takeScreenshot(CompositionRoot &root, const Invocation &invocation, QTextStream &errors)
{
    CommandLineDelivery delivery;
    Result<CaptureServices> services = root.makeCaptureServices(delivery.desk());
    if (!services)
        return printError(errors, services.error().message);

    std::optional<ScreenshotOutcome> outcome;
    services->screenshots->take(invocation.screenshot, [&outcome](const ScreenshotOutcome &done) {
        outcome = done;
        QCoreApplication::quit();
    });
    // The command's one wait, at its outermost layer: the service answers through the loop.
    while (!outcome)
        QCoreApplication::exec();

    const CommandAnswer answer = ScreenshotCommand::report(delivery.handOver(*outcome));
    errors << answer.errors << Qt::flush;
    // Whether it all arrived is checked once the command is done.
    std::fwrite(answer.output.constData(), 1, size_t(answer.output.size()), stdout);
    return answer.status;
}

int runCommand(CompositionRoot &root, const Invocation &invocation, QTextStream &errors)
{
    const bool repeated = invocation.screenshot.select || invocation.action == Invocation::Action::record;
    const X11Grabber::Pattern pattern = repeated ? X11Grabber::Pattern::repeated : X11Grabber::Pattern::oneShot;
    const Result<std::shared_ptr<ScreenCapturePlatform>> platform = root.screenCapture(pattern);
    if (!platform)
        return printError(errors, platform.error().message);
    QTextStream output(stdout);
    switch (invocation.action) {
    case Invocation::Action::listDisplays:
        return DisplaysCommand::run(**platform, output, errors);
    case Invocation::Action::listWindows: {
        WindowListSource *windows = (*platform)->windowListSource();
        if (!windows)
            return printError(errors, QStringLiteral("this window system lists no windows"));
        return WindowsCommand::run(*windows, output, errors);
    }
    case Invocation::Action::screenshot:
        return takeScreenshot(root, invocation, errors);
    case Invocation::Action::record:
        return RecordCommand::run(root, invocation.recording, *platform, errors);
    default:
        break;
    }
    return 1;
}

} // namespace

void CaptureCommands::run(const Invocation &invocation, int &argc, char **argv)
{
    CompositionRoot root;
    const ScreenshotRequest &screenshot = invocation.screenshot;
    // A whole display, or the frozen screen of a selection, can be read before Qt has started.
    const bool wholeScreen
        = invocation.action == Invocation::Action::screenshot && !screenshot.windowId && !screenshot.areaInPoints;
    if (wholeScreen)
        root.startEarlyScreenGrab();

    // Only the overlay needs widgets; the rest needs Qt for the screens' scales alone.
    const bool selects = screenshot.select || invocation.recording.select;
    std::unique_ptr<QGuiApplication> app
        = selects ? std::make_unique<QApplication>(argc, argv) : std::make_unique<QGuiApplication>(argc, argv);
    // The overlay's windows close before the capture is delivered.
    app->setQuitOnLastWindowClosed(false);
    // Interrupted, the command takes its staged copy, request body and thumbnail along; a
    // recording hears the signals itself, to finish its file.
    if (invocation.action != Invocation::Action::record)
        root.endOnSignals();
    root.sweepLeftovers();
    QTextStream errors(stderr);
    int status = runCommand(root, invocation, errors);
    if (!standardOutputIsWritten())
        status = printError(errors, QStringLiteral("Couldn't write to standard output."));

    // The file is written and closed, and nothing else is left to clean up. Tearing down Qt and
    // handing back a frame's worth of memory page by page took longer than the capture (50 ms
    // of a 4K screenshot's 150); the kernel reclaims it all at once.
    errors.flush();
    std::fflush(nullptr);
    _exit(status);
}
