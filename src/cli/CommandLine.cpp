#include "CommandLine.h"

#include "Version.h"

#include <QCommandLineParser>

#include <cmath>

namespace {

Invocation usageError(const QString &problem)
{
    return {Invocation::Action::printAndExit,
        QLatin1String("qorvel: ") + problem + QLatin1String("\nTry 'qorvel --help' for more information.\n"),
        CommandLine::usageExitCode, {}};
}

Invocation printed(const QString &text)
{
    return {Invocation::Action::printAndExit, text, 0, {}};
}

// Parses with `parser`; a usage error when it fails or when there are positional arguments.
std::optional<Invocation> parseOptions(QCommandLineParser &parser, const QStringList &arguments)
{
    if (!parser.parse(arguments)) {
        const QStringList unknown = parser.unknownOptionNames();
        if (!unknown.isEmpty()) {
            const QString dashes = unknown.first().size() == 1 ? QStringLiteral("-") : QStringLiteral("--");
            return usageError(QLatin1String("unknown option '") + dashes + unknown.first() + QLatin1Char('\''));
        }
        return usageError(parser.errorText());
    }
    return std::nullopt;
}

std::optional<quint32> parseId(const QString &text)
{
    bool ok = false;
    const quint32 id = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? text.mid(2).toUInt(&ok, 16)
                                                                                 : text.toUInt(&ok, 10);
    return ok ? std::optional<quint32>(id) : std::nullopt;
}

std::optional<QRectF> parseArea(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 4)
        return std::nullopt;
    double values[4] = {};
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        values[i] = parts.at(i).trimmed().toDouble(&ok);
        if (!ok || !std::isfinite(values[i]))
            return std::nullopt;
    }
    return QRectF(values[0], values[1], values[2], values[3]);
}

Invocation parseScreenshot(const QStringList &arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QString());
    const QCommandLineOption display(QStringLiteral("display"), QString(), QStringLiteral("ID"));
    const QCommandLineOption window(QStringLiteral("window"), QString(), QStringLiteral("XID"));
    const QCommandLineOption area(QStringLiteral("area"), QString(), QStringLiteral("X,Y,W,H"));
    const QCommandLineOption format(QStringLiteral("format"), QString(), QStringLiteral("FORMAT"));
    const QCommandLineOption quality(QStringLiteral("quality"), QString(), QStringLiteral("Q"));
    const QCommandLineOption output({QStringLiteral("o"), QStringLiteral("output")}, QString(), QStringLiteral("FILE"));
    const QCommandLineOption select(QStringLiteral("select"), QString());
    parser.addOptions({help, display, window, area, format, quality, output, select});
    if (std::optional<Invocation> error = parseOptions(parser, arguments))
        return *error;
    if (parser.isSet(help))
        return printed(CommandLine::helpText());
    if (parser.positionalArguments().size() > 1)
        return usageError(
            QLatin1String("unexpected argument '") + parser.positionalArguments().at(1) + QLatin1Char('\''));

    Invocation invocation{Invocation::Action::screenshot, {}, 0, {}};
    ScreenshotOptions &options = invocation.screenshot;
    if (parser.isSet(select) && (parser.isSet(window) || parser.isSet(display) || parser.isSet(area)))
        return usageError(
            QStringLiteral("--select lets you choose the target; it takes no --display, --area or --window"));
    options.select = parser.isSet(select);
    if (parser.isSet(window) && (parser.isSet(display) || parser.isSet(area)))
        return usageError(QStringLiteral("--window captures one window; it takes no --display or --area"));
    if (parser.isSet(display)) {
        options.displayId = parseId(parser.value(display));
        if (!options.displayId)
            return usageError(QStringLiteral("--display takes a display id (see 'qorvel displays')"));
    }
    if (parser.isSet(window)) {
        options.windowId = parseId(parser.value(window));
        if (!options.windowId)
            return usageError(QStringLiteral("--window takes a window id, such as 0x1a00007"));
    }
    if (parser.isSet(area)) {
        options.areaInPoints = parseArea(parser.value(area));
        if (!options.areaInPoints)
            return usageError(QStringLiteral("--area takes X,Y,W,H in points, such as 100,100,200,150"));
    }
    if (parser.isSet(format)) {
        options.format = imageFormatFromRaw(parser.value(format));
        if (!options.format)
            return usageError(QStringLiteral("--format takes png or jpeg"));
    }
    if (parser.isSet(quality)) {
        bool ok = false;
        options.quality = parser.value(quality).toDouble(&ok);
        if (!ok || !std::isfinite(*options.quality))
            return usageError(QStringLiteral("--quality takes a number from 0 to 1"));
    }
    options.outputPath = parser.value(output);
    return invocation;
}

} // namespace

QString CommandLine::helpText()
{
    return QStringLiteral("Usage: qorvel [OPTION]\n"
                          "       qorvel screenshot [--select | --display ID | --window XID] [--area X,Y,W,H]\n"
                          "                         [--format png|jpeg]\n"
                          "                         [--quality Q] [-o FILE|-]\n"
                          "       qorvel displays\n"
                          "       qorvel windows\n"
                          "Screenshots and screen recordings from the system tray.\n"
                          "\n"
                          "With no command, Qorvel starts in the tray. If it is already running, the running\n"
                          "instance shows its settings window and this command exits.\n"
                          "\n"
                          "Commands:\n"
                          "  screenshot   capture the display under the pointer, a display, an area or a window\n"
                          "    --select          choose a window, an area or a display with the pointer;\n"
                          "                      Escape cancels (exit status 1, no file)\n"
                          "    --display ID      the display to capture (ids from 'qorvel displays')\n"
                          "    --area X,Y,W,H    an area in points from the display's top-left corner\n"
                          "                      (of --display, or of the primary display)\n"
                          "    --window XID      one window, on its own\n"
                          "    --format FORMAT   png or jpeg (default: from -o's extension, else the preferences)\n"
                          "    --quality Q       JPEG quality from 0 to 1 (default: the preferences, 0.9)\n"
                          "    -o, --output FILE write FILE, which must not exist yet; '-' writes to standard output\n"
                          "                      (default: the screenshot folder, named by the file name template)\n"
                          "  displays     list the displays: id, frame in points, scale, name\n"
                          "  windows      list the windows a selection offers, front to back:\n"
                          "               id, frame in points, owner PID, application\n"
                          "\n"
                          "Options:\n"
                          "  -h, --help     show this help and exit\n"
                          "  -v, --version  show the version and exit\n");
}

Invocation CommandLine::parse(const QStringList &arguments)
{
    const QString command = arguments.value(1);
    if (command == QLatin1String("screenshot"))
        return parseScreenshot(arguments);
    if (command == QLatin1String("displays") || command == QLatin1String("windows")) {
        if (arguments.size() > 2)
            return usageError(QLatin1String("unexpected argument '") + arguments.at(2) + QLatin1Char('\''));
        return {
            command == QLatin1String("displays") ? Invocation::Action::listDisplays : Invocation::Action::listWindows,
            {}, 0, {}};
    }

    QCommandLineParser parser;
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QString());
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")}, QString());
    parser.addOptions({help, version});
    if (std::optional<Invocation> error = parseOptions(parser, arguments))
        return *error;
    if (!parser.positionalArguments().isEmpty())
        return usageError(
            QLatin1String("unknown command '") + parser.positionalArguments().first() + QLatin1Char('\''));
    if (parser.isSet(help))
        return printed(helpText());
    if (parser.isSet(version))
        return printed(QLatin1String("qorvel ") + QLatin1String(qorvelVersion) + QLatin1Char('\n'));
    return {};
}
