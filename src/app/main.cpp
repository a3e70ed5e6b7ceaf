#include "AppDelegate.h"
#include "CaptureCommands.h"
#include "ClipboardKeeper.h"
#include "CommandLine.h"
#include "CommandLineDelivery.h"
#include "CompositionRoot.h"
#include "DBusInstanceChannel.h"
#include "InstanceCommands.h"
#include "UnixSignalWatcher.h"
#include "UploadCommands.h"
#include "Version.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDir>
#include <QLocale>
#include <QTextStream>

#include <csignal>
#include <cstdio>
#include <limits>

int main(int argc, char *argv[])
{
    // Qorvel speaks English whatever the desktop's language; no translations are loaded.
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));

    // The background owner of a copy made by the command line: started by Qorvel itself with
    // arguments of its own, which the command-line parser rightly does not know.
    if (ClipboardKeeper::isKeeperInvocation(argc, argv))
        return ClipboardKeeper::runKeeper(argc, argv, &CommandLineDelivery::showInKeeper);

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
    if (UploadCommands::handles(invocation))
        return UploadCommands::run(invocation, qtArgc, qtArgv);

    // A running Qorvel takes the screenshot: it has Qt started and the screen's memory mapped
    // already, and keeps the clipboard itself. QORVEL_STANDALONE=1 always runs it here.
    if (InstanceCommands::servable(invocation) && !qEnvironmentVariableIsSet("QORVEL_STANDALONE")) {
        std::optional<CommandAnswer> answer;
        {
            QCoreApplication forwarding(qtArgc, qtArgv);
            // Longer than an upload's own time-out; a selection waits for the user as long as it takes.
            const int timeoutMs = invocation.screenshot.select ? std::numeric_limits<int>::max() : 150'000;
            answer = DBusInstanceChannel::runInPrimary(
                QDBusConnection::sessionBus(), {arguments, QDir::currentPath()}, timeoutMs);
        }
        if (answer) {
            std::fwrite(answer->output.constData(), 1, size_t(answer->output.size()), stdout);
            QTextStream(stderr) << answer->errors;
            return answer->status;
        }
    }
    if (invocation.action != Invocation::Action::runApp) {
        // The file is named as the running instance would name it: by its whole path.
        Invocation local = invocation;
        QString &output = local.screenshot.outputPath;
        if (!output.isEmpty() && output != QLatin1String("-"))
            output = QDir::current().absoluteFilePath(output);
        CaptureCommands::run(local, qtArgc, qtArgv);
    }

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

    InstanceCommands commands(root);
    root.instanceChannel()->setCommandHandler(
        [&commands](const ForwardedCommand &command) { return commands.run(command); });
    AppDelegate delegate(root);
    QObject::connect(root.instanceChannel(), &InstanceChannel::requestReceived, &delegate, &AppDelegate::handle);
    delegate.launch();
    return app.exec();
}
