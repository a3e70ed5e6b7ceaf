#pragma once

#include <QProcess>
#include <QStringList>
#include <QTest>

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

// Starts a terminal at 150,150 full of coloured text, so a misplaced or rescaled capture cannot
// match by accident, and waits until it shows.
inline bool startTextTerminal(QProcess &xterm)
{
    xterm.start(QStringLiteral("xterm"),
        {QStringLiteral("-geometry"), QStringLiteral("100x30+150+150"), QStringLiteral("-e"), QStringLiteral("sh"),
            QStringLiteral("-c"), QStringLiteral("ls -la --color=always /usr/bin | head -60; exec sleep 600")});
    return QTest::qWaitFor(
        [] {
            return hasVisibleWindow({QStringLiteral("--class"), QStringLiteral("xterm")});
        },
        10000);
}
