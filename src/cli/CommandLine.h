#pragma once

#include <QString>
#include <QStringList>

// What the process was asked to do, decided before any window-system connection is made, so
// that --help and --version work anywhere and a typo costs nothing.
struct Invocation
{
    enum class Action {
        runApp, // start the tray application, or hand over to the running one
        printAndExit // print `output` and exit with `exitCode`
    };

    Action action = Action::runApp;
    QString output;
    int exitCode = 0;
};

class CommandLine
{
public:
    static constexpr int usageExitCode = 2;

    // `arguments` as from QCoreApplication::arguments(), program name first.
    static Invocation parse(const QStringList &arguments);
    static QString helpText();
};
