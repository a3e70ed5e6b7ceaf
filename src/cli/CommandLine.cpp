#include "CommandLine.h"

#include "Version.h"

#include <QCommandLineParser>

namespace {

Invocation usageError(const QString &problem)
{
    return {Invocation::Action::printAndExit,
        QLatin1String("qorvel: ") + problem + QLatin1String("\nTry 'qorvel --help' for more information.\n"),
        CommandLine::usageExitCode};
}

} // namespace

QString CommandLine::helpText()
{
    return QStringLiteral("Usage: qorvel [OPTION]\n"
                          "Screenshots and screen recordings from the system tray.\n"
                          "\n"
                          "With no option, Qorvel starts in the tray. If it is already running, the running\n"
                          "instance shows its settings window and this command exits.\n"
                          "\n"
                          "  -h, --help     show this help and exit\n"
                          "  -v, --version  show the version and exit\n");
}

Invocation CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QString());
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")}, QString());
    parser.addOption(help);
    parser.addOption(version);

    if (!parser.parse(arguments)) {
        const QStringList unknown = parser.unknownOptionNames();
        if (!unknown.isEmpty()) {
            const QString dashes = unknown.first().size() == 1 ? QStringLiteral("-") : QStringLiteral("--");
            return usageError(QLatin1String("unknown option '") + dashes + unknown.first() + QLatin1Char('\''));
        }
        return usageError(parser.errorText());
    }
    if (!parser.positionalArguments().isEmpty())
        return usageError(
            QLatin1String("unknown command '") + parser.positionalArguments().first() + QLatin1Char('\''));
    if (parser.isSet(help))
        return {Invocation::Action::printAndExit, helpText(), 0};
    if (parser.isSet(version))
        return {Invocation::Action::printAndExit,
            QLatin1String("qorvel ") + QLatin1String(qorvelVersion) + QLatin1Char('\n'), 0};
    return {};
}
