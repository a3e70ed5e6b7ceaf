#pragma once

#include <QProcess>
#include <QStringList>

// Whether the X server shows a window matching `criteria` (xdotool search terms, such as
// "--pid 1234" or "--class xterm"): how the tests tell that a program's window is up.
inline bool hasVisibleWindow(const QStringList &criteria)
{
    return QProcess::execute(QStringLiteral("xdotool"),
               QStringList{QStringLiteral("search"), QStringLiteral("--onlyvisible")} + criteria)
        == 0;
}

inline bool hasVisibleWindow(const QProcess &process)
{
    return hasVisibleWindow({QStringLiteral("--pid"), QString::number(process.processId())});
}
