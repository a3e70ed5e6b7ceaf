#pragma once

#include <QDBusConnection>
#include <QString>

// Shows a file selected in the user's file manager, through org.freedesktop.FileManager1. A
// desktop without one gets the containing folder opened instead; a file that has gone since
// shows nothing.
class FileRevealer
{
public:
    static void reveal(const QDBusConnection &bus, const QString &path);
};
