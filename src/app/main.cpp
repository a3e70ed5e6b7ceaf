#include "AppDelegate.h"
#include "CaptureCommands.h"
#include "ClipboardKeeper.h"
#include "CommandLine.h"
#include "CommandLineDelivery.h"
#include "CompositionRoot.h"
#include "ErrorOutput.h"
#include "InstanceCommands.h"
#include "UnixSignalWatcher.h"
#include "UploadCommands.h"
#include "Version.h"

#include <QApplication>
#include <QDir>
#include <QLocale>
#include <QTextStream>

#include <csignal>
#include <cstdio>

namespace {

// A running Qorvel takes the screenshot: it has Qt started and the screen's memory mapped
// already, and keeps the clipboard itself. None when no instance serves it; an error when one
// owns the name but does not answer.
Result<std::optional<CommandAnswer>> runInPrimary(const QStringList &arguments, int &argc, char **argv)
{
    QCoreApplication forwarding(argc, argv);
    std::optional<Result<std::optional<CommandAnswer>>> answer;
    CompositionRoot::runInPrimary(
        {arguments, QDir::currentPath()}, [&answer](Result<std::optional<CommandAnswer>> done) {
            answer = std::move(done);
            QCoreApplication::quit();
        });
    // The command's one wait, at its outermost layer.
    while (!answer)
        QCoreApplication::exec();
    return *answer;
}

} // namespace

int main(int argc, char *argv[])
{
    // Qorvel speaks English whatever the desktop's language; no translations are loaded.
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));

    // The background owner of a copy made by the command line: started by Qorvel itself with
    // arguments of its own, which the command-line parser rightly does not know.
    if (ClipboardKeeper::isKeeperInvocation(argc, argv)) {
        CompositionRoot root;
        return ClipboardKeeper::runKeeper(
            argc, argv, [&root](const QByteArray &attachment, std::function<void()> finished) {
                CommandLineDelivery::showInKeeper(root, attachment, std::move(finished));
            });
    }

    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const Invocation invocation = CommandLine::parse(arguments);
    if (invocation.action == Invocation::Action::printAndExit) {
        QTextStream(invocation.exitCode == 0 ? stdout : stderr) << invocation.output;
        if (standardOutputIsWritten())
            return invocation.exitCode;
        QTextStream errors(stderr);
        return printError(errors, QStringLiteral("Couldn't write to standard output."));
    }

    // Qt would read its own options (-display, -platform, ...) from the arguments, and
    // `screenshot --display ID` means something else here: the command line is parsed above, and
    // Qt gets the program name alone. QT_QPA_PLATFORM and DISPLAY still choose for Qt.
    int qtArgc = 1;
    char *qtArgv[] = {argv[0], nullptr};
    if (UploadCommands::handles(invocation))
        return UploadCommands::run(invocation, qtArgc, qtArgv);

    if (InstanceCommands::servable(invocation) && !CompositionRoot::runsStandalone()) {
        const Result<std::optional<CommandAnswer>> answer = runInPrimary(arguments, qtArgc, qtArgv);
        QTextStream errors(stderr);
        if (!answer)
            return printError(errors, answer.error());
        if (const std::optional<CommandAnswer> &served = *answer) {
            std::fwrite(served->output.constData(), 1, size_t(served->output.size()), stdout);
            errors << served->errors;
            return standardOutputIsWritten() ? served->status
                                             : printError(errors, QStringLiteral("Couldn't write to standard output."));
        }
    }
    if (invocation.action != Invocation::Action::runApp) {
        // The file is named as the running instance would name it: by its whole path.
        Invocation local = invocation;
        if (local.screenshot.toNamedFile())
            local.screenshot.outputPath = QDir::current().absoluteFilePath(local.screenshot.outputPath);
        CaptureCommands::run(local, qtArgc, qtArgv);
    }

    QApplication app(qtArgc, qtArgv);
    QApplication::setApplicationName(QStringLiteral("Qorvel"));
    QApplication::setApplicationVersion(QLatin1String(qorvelVersion));
    QApplication::setDesktopFileName(QStringLiteral("com.vostrink.qorvel"));
    CompositionRoot::useIconThemes();
    // A tray application lives on when its last window closes.
    QApplication::setQuitOnLastWindowClosed(false);

    // Before the claim: from the moment the channel is ours, a SIGTERM must still end in a
    // clean quit that releases it.
    UnixSignalWatcher quitSignals({SIGTERM, SIGINT, SIGHUP});
    QObject::connect(&quitSignals, &UnixSignalWatcher::signalled, &app, &QCoreApplication::quit);

    CompositionRoot root;
    const Result<InstanceChannel::Role> role = root.claimInstance(invocation.request);
    if (!role) {
        QTextStream errors(stderr);
        return printError(errors, role.error());
    }
    if (*role == InstanceChannel::Role::forwarded)
        return 0;

    AppDelegate delegate(root);
    delegate.launch();
    // Asked of a Qorvel that was not running yet: this process is that Qorvel now.
    if (invocation.request != InstanceRequest::reopen)
        QMetaObject::invokeMethod(
            &delegate, [&delegate, &invocation]() { delegate.handle(invocation.request); }, Qt::QueuedConnection);
    return app.exec();
}
