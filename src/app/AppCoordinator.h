#pragma once

#include "WindowPresenter.h"

#include <QObject>

class Preferences;
class StagingFolders;

// Owns every long-lived object of the running tray application and runs its user flows.
class AppCoordinator : public QObject
{
    Q_OBJECT

public:
    AppCoordinator(Preferences &preferences, const StagingFolders &stagingFolders, QObject *parent = nullptr);
    ~AppCoordinator() override;

    void start();

    void showSettings();
    // Starts a fresh copy of this executable half a second from now and quits at once, so the
    // new process finds the single-instance channel free.
    void relaunch();

    WindowPresenter &windows() { return m_windows; }

private:
    Preferences &m_preferences;
    const StagingFolders &m_stagingFolders;
    WindowPresenter m_windows;
};
