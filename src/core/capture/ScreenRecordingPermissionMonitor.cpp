#include "ScreenRecordingPermissionMonitor.h"

#include "ScreenCaptureAccess.h"

ScreenRecordingPermissionMonitor::ScreenRecordingPermissionMonitor(
    ScreenRecordingPermission &permission, QObject *parent)
    : QObject(parent)
    , m_permission(permission)
{
    m_pollTimer.setInterval(pollInterval);
    connect(&m_pollTimer, &QTimer::timeout, this, &ScreenRecordingPermissionMonitor::poll);
}

void ScreenRecordingPermissionMonitor::refresh()
{
    m_status = m_permission.currentStatus();
    Q_EMIT statusChanged();
}

void ScreenRecordingPermissionMonitor::startPolling()
{
    if (m_pollTimer.isActive())
        return;
    m_pollTimer.start();
    poll();
}

void ScreenRecordingPermissionMonitor::poll()
{
    refresh();
    if (m_status && m_status->kind == ScreenRecordingPermission::Status::Kind::granted)
        m_pollTimer.stop();
}

void ScreenRecordingPermissionMonitor::openSettings()
{
    m_permission.markAccessRequested();
    m_permission.access().request();
    m_permission.access().openSettings();
    m_didOpenSettings = true;
    Q_EMIT didOpenSettingsChanged();
    startPolling();
}
