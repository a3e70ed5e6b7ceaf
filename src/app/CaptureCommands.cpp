#include "CaptureCommands.h"

#include "CommandLine.h"
#include "CommandLineDelivery.h"
#include "CompositionRoot.h"
#include "DisplaysCommand.h"
#include "ScreenshotCommand.h"
#include "SelectionScreenshot.h"
#include "WindowListSource.h"
#include "WindowsCommand.h"

#include <QApplication>
#include <QFile>
#include <QTextStream>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

ScreenshotCommand::Deliver deliverer(CompositionRoot &root, bool interactive)
{
    return [&root, interactive](ScreenshotHandOver::Capture capture, bool notify) {
        return CommandLineDelivery(root, interactive).deliverScreenshot(std::move(capture), notify);
    };
}

int runCommand(const Invocation &invocation, CompositionRoot &root, QIODevice &standardOutput, QTextStream &errors)
{
    const X11Grabber::Pattern pattern
        = invocation.screenshot.select ? X11Grabber::Pattern::repeated : X11Grabber::Pattern::oneShot;
    const Result<std::shared_ptr<ScreenCapturePlatform>> platform = root.screenCapture(pattern);
    if (!platform) {
        errors << "qorvel: " << platform.error().message << '\n';
        return 1;
    }
    switch (invocation.action) {
    case Invocation::Action::listDisplays: {
        QTextStream output(&standardOutput);
        return DisplaysCommand::run(**platform, output, errors);
    }
    case Invocation::Action::listWindows: {
        QTextStream output(&standardOutput);
        auto *windows = dynamic_cast<WindowListSource *>(platform->get());
        if (!windows) {
            errors << "qorvel: this window system lists no windows\n";
            return 1;
        }
        return WindowsCommand::run(*windows, output, errors);
    }
    case Invocation::Action::screenshot:
        if (invocation.screenshot.select)
            return SelectionScreenshot::run(
                invocation.screenshot, root, **platform, deliverer(root, true), standardOutput, errors);
        return ScreenshotCommand(**platform, root.preferences(), deliverer(root, false))
            .run(invocation.screenshot, standardOutput, errors);
    default:
        break;
    }
    return 1;
}

} // namespace

void CaptureCommands::run(const Invocation &invocation, int &argc, char **argv)
{
    CompositionRoot root;
    const ScreenshotOptions &screenshot = invocation.screenshot;
    // A whole display, or the frozen screen of a selection, can be read before Qt has started.
    const bool wholeScreen
        = invocation.action == Invocation::Action::screenshot && !screenshot.windowId && !screenshot.areaInPoints;
    if (wholeScreen)
        root.startEarlyScreenGrab();

    // Only the overlay needs widgets; the rest needs Qt for the screens' scales alone.
    std::unique_ptr<QGuiApplication> app = screenshot.select ? std::make_unique<QApplication>(argc, argv)
                                                             : std::make_unique<QGuiApplication>(argc, argv);
    root.preferences().registerDefaults();
    QTextStream errors(stderr);
    QFile standardOutput;
    int status = 1;
    if (standardOutput.open(stdout, QIODevice::WriteOnly))
        status = runCommand(invocation, root, standardOutput, errors);
    else
        errors << "qorvel: couldn't open standard output\n";

    // The file is written and closed, and nothing else is left to clean up. Tearing down Qt and
    // handing back a frame's worth of memory page by page took longer than the capture (50 ms
    // of a 4K screenshot's 150); the kernel reclaims it all at once.
    standardOutput.close();
    errors.flush();
    std::fflush(nullptr);
    _exit(status);
}
