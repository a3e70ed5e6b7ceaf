#include "AppCoordinator.h"

#include "CompositionRoot.h"
#include "FreedesktopNotifier.h"
#include "InstanceCommands.h"
#include "SettingsPlaceholderView.h"
#include "ShutterSound.h"
#include "WarningAlert.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLoggingCategory>
#include <QProcess>

Q_DECLARE_LOGGING_CATEGORY(lcApp)

AppCoordinator::AppCoordinator(CompositionRoot &root, QObject *parent)
    : QObject(parent)
    , m_root(root)
    , m_clipboard(CompositionRoot::makeClipboard())
    // A failure that no notification server can show must still be seen.
    , m_notifier(root.makeNotifier(&WarningAlert::show))
    , m_shutter(CompositionRoot::makeShutterSound())
{
    connect(&m_windows, &WindowPresenter::quitRequested, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
}

AppCoordinator::~AppCoordinator()
{
    // The services report to the notifier and the clipboard: they go first.
    m_commands.reset();
    m_capture.reset();
}

void AppCoordinator::start()
{
    m_root.preferences().watchFile();
    m_root.sweepLeftovers();
}

Result<CaptureServices *> AppCoordinator::captureServices()
{
    if (!m_capture) {
        Result<CaptureServices> made = m_root.makeCaptureServices({*m_clipboard, *m_notifier, *m_shutter});
        if (!made)
            return made.error();
        m_capture.emplace(std::move(made).value());
        m_commands = std::make_unique<InstanceCommands>(*m_capture->screenshots);
    }
    return &*m_capture;
}

InstanceChannel::Cancel AppCoordinator::serveCommand(
    const ForwardedCommand &command, const InstanceChannel::Reply &reply)
{
    const Result<CaptureServices *> services = captureServices();
    if (!services) {
        // The command reports the same failure when it runs on its own.
        reply({CommandAnswer::notServed, {}, services.error().message});
        return {};
    }
    return m_commands->run(command, reply);
}

void AppCoordinator::showSettings()
{
    m_windows.show(QStringLiteral("settings"), tr("Qorvel Settings"),
        [this] { return new SettingsPlaceholderView(m_root.preferences().filePath()); });
}

void AppCoordinator::relaunch()
{
    // The path travels as $0 so that no character in it can change the command.
    QProcess::startDetached(QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"), QStringLiteral("sleep 0.5; exec \"$0\""), QCoreApplication::applicationFilePath()});
    QCoreApplication::quit();
}
