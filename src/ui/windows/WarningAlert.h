#pragma once

#include <QString>

// A modal warning for a failure that must be seen when nothing else can show it (no
// notification server). Returns once the user dismissed it.
class WarningAlert
{
public:
    static void show(const QString &title, const QString &body);
};
