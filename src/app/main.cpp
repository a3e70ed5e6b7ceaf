#include "AppDelegate.h"
#include "CommandLine.h"
#include "CompositionRoot.h"
#include "DisplaysCommand.h"
#include "ScreenshotCommand.h"
#include "UnixSignalWatcher.h"
#include "Version.h"
#include "WindowsCommand.h"
#include "X11ScreenCapture.h"

#include <QApplication>
#include <QFile>
#include <QLocale>
#include <QTextStream>

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {

// The command-line captures run without the tray: no single-instance claim, no widgets.
int runCaptureCommand(const Invocation &invocation, int &argc, char **argv)
{
    CompositionRoot root;
    const ScreenshotOptions &screenshot = invocation.screenshot;
    if (invocation.action == Invocation::Action::screenshot && !screenshot.windowId && !screenshot.areaInPoints)
        root.startEarlyScreenGrab();

    QGuiApplication app(argc, argv);
    QTextStream errors(stderr);
    root.preferences().registerDefaults();
    const Result<std::shared_ptr<ScreenCapturePlatform>> platform = root.screenCapture(X11Grabber::Pattern::oneShot);
    if (!platform) {
        errors << "qorvel: " << platform.error().message << '\n';
        return 1;
    }
    QFile standardOutput;
    if (!standardOutput.open(stdout, QIODevice::WriteOnly)) {
        errors << "qorvel: couldn't open standard output\n";
        return 1;
    }
    if (invocation.action == Invocation::Action::listDisplays) {
        QTextStream output(&standardOutput);
        return DisplaysCommand::run(**platform, output, errors);
    }
    if (invocation.action == Invocation::Action::listWindows) {
        QTextStream output(&standardOutput);
        auto *windows = dynamic_cast<WindowListSource *>(platform->get());
        if (!windows) {
            errors << "qorvel: this window system lists no windows\n";
            return 1;
        }
        return WindowsCommand::run(*windows, output, errors);
    }
    const int status = ScreenshotCommand(**platform, root.preferences()).run(screenshot, standardOutput, errors);
    // The file is written and closed, and nothing else is left to clean up. Tearing down Qt and
    // handing back a frame's worth of memory page by page took longer than the capture (50 ms
    // of a 4K screenshot's 150); the kernel reclaims it all at once.
    standardOutput.close();
    errors.flush();
    std::fflush(nullptr);
    _exit(status);
}

} // namespace

int main(int argc, char *argv[])
{
    // Qorvel speaks English whatever the desktop's language; no translations are loaded.
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));

    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const Invocation invocation = CommandLine::parse(arguments);
    if (invocation.action == Invocation::Action::printAndExit) {
        QTextStream(invocation.exitCode == 0 ? stdout : stderr) << invocation.output;
        return invocation.exitCode;
    }

    // Qt would read its own options (-display, -platform, ...) from the arguments, and
    // `screenshot --display ID` means something else here: the command line is parsed above, and
    // Qt gets the program name alone. QT_QPA_PLATFORM and DISPLAY still choose for Qt.
    int qtArgc = 1;
    char *qtArgv[] = {argv[0], nullptr};
    if (invocation.action != Invocation::Action::runApp)
        return runCaptureCommand(invocation, qtArgc, qtArgv);

    QApplication app(qtArgc, qtArgv);
    QApplication::setApplicationName(QStringLiteral("Qorvel"));
    QApplication::setApplicationVersion(QLatin1String(qorvelVersion));
    QApplication::setDesktopFileName(QStringLiteral("com.vostrink.qorvel"));
    // A tray application lives on when its last window closes.
    QApplication::setQuitOnLastWindowClosed(false);

    // Before the claim: from the moment the channel is ours, a SIGTERM must still end in a
    // clean quit that releases it.
    UnixSignalWatcher quitSignals({SIGTERM, SIGINT, SIGHUP});
    QObject::connect(&quitSignals, &UnixSignalWatcher::signalled, &app, &QCoreApplication::quit);

    CompositionRoot root;
    const Result<InstanceChannel::Role> role = root.claimInstance(InstanceRequest::reopen);
    if (!role) {
        QTextStream(stderr) << "qorvel: " << role.error().message << " (" << role.error().detail << ")\n";
        return 1;
    }
    if (*role == InstanceChannel::Role::forwarded)
        return 0;

    AppDelegate delegate(root);
    QObject::connect(root.instanceChannel(), &InstanceChannel::requestReceived, &delegate, &AppDelegate::handle);
    delegate.launch();
    return app.exec();
}
