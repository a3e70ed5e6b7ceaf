#pragma once

#include "ScreenRecordingPermission.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <optional>

// A live answer to "may Qorvel read the screen?" while the user is off granting it. Polling
// stops once access is granted, or when the monitor is destroyed (the timer goes with it).
class ScreenRecordingPermissionMonitor : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds pollInterval{1500};

    explicit ScreenRecordingPermissionMonitor(ScreenRecordingPermission &permission, QObject *parent = nullptr);

    // None before the first check.
    std::optional<ScreenRecordingPermission::Status> status() const { return m_status; }
    bool didOpenSettings() const { return m_didOpenSettings; }
    bool isPolling() const { return m_pollTimer.isActive(); }

    void refresh();
    // Starts polling unless it already runs.
    void startPolling();
    // Records the request, asks the system, opens its settings page and polls for the answer.
    void openSettings();

Q_SIGNALS:
    void statusChanged();
    void didOpenSettingsChanged();

private:
    void poll();

    ScreenRecordingPermission &m_permission;
    std::optional<ScreenRecordingPermission::Status> m_status;
    bool m_didOpenSettings = false;
    QTimer m_pollTimer;
};
