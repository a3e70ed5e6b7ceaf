#pragma once

#include "AccessibilitySwitch.h"

#include <QDBusConnection>

// The accessibility bus's IsEnabled property, the switch the desktop's own settings flip.
// Every call is asynchronous: a bus launcher that is slow to start must not stall a window.
class DBusAccessibilitySwitch : public AccessibilitySwitch
{
    Q_OBJECT

public:
    explicit DBusAccessibilitySwitch(QDBusConnection sessionBus, QObject *parent = nullptr);

    void query() override;
    void turnOn() override;

private:
    QDBusConnection m_bus;
};
