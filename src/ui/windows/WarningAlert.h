#pragma once

#include <QString>

// A warning for a failure that must be seen when nothing else can show it (no notification
// server). Returns at once; the window stays until the user dismisses it, and the tray goes on
// working meanwhile.
class WarningAlert
{
public:
    static void show(const QString &title, const QString &body);
};
