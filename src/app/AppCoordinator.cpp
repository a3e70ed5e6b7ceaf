#include "AppCoordinator.h"

#include "Preferences.h"
#include "SettingsPlaceholderView.h"
#include "StagingFolders.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLoggingCategory>
#include <QProcess>

Q_DECLARE_LOGGING_CATEGORY(lcApp)

AppCoordinator::AppCoordinator(Preferences &preferences, const StagingFolders &stagingFolders, QObject *parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_stagingFolders(stagingFolders)
{
    connect(&m_windows, &WindowPresenter::quitRequested, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
}

AppCoordinator::~AppCoordinator() = default;

void AppCoordinator::start()
{
    const int purged = m_stagingFolders.purge(QDateTime::currentDateTime());
    if (purged > 0)
        qCInfo(lcApp) << "removed" << purged << "stale staging entries";
}

void AppCoordinator::showSettings()
{
    m_windows.show(QStringLiteral("settings"), tr("Qorvel Settings"),
        [this] { return new SettingsPlaceholderView(m_preferences.filePath()); });
}

void AppCoordinator::relaunch()
{
    // The path travels as $0 so that no character in it can change the command.
    QProcess::startDetached(QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"), QStringLiteral("sleep 0.5; exec \"$0\""), QCoreApplication::applicationFilePath()});
    QCoreApplication::quit();
}
