#include "CommandLine.h"

#include "Version.h"

#include <QCommandLineParser>

#include <array>
#include <cmath>

namespace {

Invocation withAction(Invocation::Action action)
{
    Invocation invocation;
    invocation.action = action;
    return invocation;
}

Invocation printed(const QString &text, int exitCode = 0)
{
    Invocation invocation = withAction(Invocation::Action::printAndExit);
    invocation.output = text;
    invocation.exitCode = exitCode;
    return invocation;
}

Invocation usageError(const QString &problem)
{
    return printed(QLatin1String("qorvel: ") + problem + QLatin1String("\nTry 'qorvel --help' for more information.\n"),
        CommandLine::usageExitCode);
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

// For a command that takes options only: the usage error, or the help the user asked for.
std::optional<Invocation> parseCommand(
    QCommandLineParser &parser, const QStringList &arguments, const QCommandLineOption &help)
{
    if (std::optional<Invocation> error = parseOptions(parser, arguments))
        return error;
    if (parser.isSet(help))
        return printed(CommandLine::helpText());
    if (parser.positionalArguments().size() > 1)
        return usageError(
            QLatin1String("unexpected argument '") + parser.positionalArguments().at(1) + QLatin1Char('\''));
    return std::nullopt;
}

std::optional<quint32> parseId(const QString &text)
{
    bool ok = false;
    const quint32 id = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? text.mid(2).toUInt(&ok, 16)
                                                                                 : text.toUInt(&ok, 10);
    return ok ? std::optional<quint32>(id) : std::nullopt;
}

// No display is a million points across; a number beyond that is a typo, not a coordinate.
constexpr double largestCoordinate = 1e6;

std::optional<QRectF> parseArea(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 4)
        return std::nullopt;
    double values[4] = {};
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        values[i] = parts.at(i).trimmed().toDouble(&ok);
        if (!ok || !std::isfinite(values[i]) || std::abs(values[i]) > largestCoordinate)
            return std::nullopt;
    }
    return QRectF(values[0], values[1], values[2], values[3]);
}

// The target options screenshots and recordings share.
struct TargetOptions
{
    QCommandLineOption display{QStringLiteral("display"), QString(), QStringLiteral("ID")};
    QCommandLineOption window{QStringLiteral("window"), QString(), QStringLiteral("XID")};
    QCommandLineOption area{QStringLiteral("area"), QString(), QStringLiteral("X,Y,W,H")};
    QCommandLineOption select{QStringLiteral("select"), QString()};
};

// Fills the request's target fields; a usage error when they contradict each other or do not parse.
template <typename Request>
std::optional<Invocation> readTarget(const QCommandLineParser &parser, const TargetOptions &target, Request &options)
{
    const QCommandLineOption &display = target.display;
    const QCommandLineOption &window = target.window;
    const QCommandLineOption &area = target.area;
    const QCommandLineOption &select = target.select;
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
    return std::nullopt;
}

Invocation parseScreenshot(const QStringList &arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QString());
    const TargetOptions target;
    const QCommandLineOption format(QStringLiteral("format"), QString(), QStringLiteral("FORMAT"));
    const QCommandLineOption quality(QStringLiteral("quality"), QString(), QStringLiteral("Q"));
    const QCommandLineOption output({QStringLiteral("o"), QStringLiteral("output")}, QString(), QStringLiteral("FILE"));
    parser.addOptions({help, target.display, target.window, target.area, target.select, format, quality, output});
    const std::array<const char *, 3> actions{"copy", "save", "upload"};
    for (const char *action : actions) {
        parser.addOption(QCommandLineOption(QLatin1String(action), QString()));
        parser.addOption(QCommandLineOption(QLatin1String("no-") + QLatin1String(action), QString()));
    }
    if (std::optional<Invocation> early = parseCommand(parser, arguments, help))
        return *early;

    Invocation invocation = withAction(Invocation::Action::screenshot);
    ScreenshotRequest &options = invocation.screenshot;
    if (std::optional<Invocation> error = readTarget(parser, target, options))
        return *error;
    if (parser.isSet(format)) {
        options.format = imageFormatFromRaw(parser.value(format));
        if (!options.format)
            return usageError(QStringLiteral("--format takes png or jpeg"));
    }
    if (parser.isSet(quality)) {
        bool ok = false;
        options.quality = parser.value(quality).toDouble(&ok);
        if (!ok || !(*options.quality >= 0.0 && *options.quality <= 1.0))
            return usageError(QStringLiteral("--quality takes a number from 0 to 1"));
    }
    options.outputPath = parser.value(output);
    std::optional<bool> *overrides[] = {&options.copy, &options.save, &options.upload};
    for (std::size_t i = 0; i < actions.size(); ++i) {
        const QString on = QLatin1String(actions[i]);
        const QString off = QLatin1String("no-") + on;
        if (parser.isSet(on) && parser.isSet(off))
            return usageError(QStringLiteral("--%1 and --%2 contradict each other").arg(on, off));
        if (parser.isSet(on) || parser.isSet(off))
            *overrides[i] = parser.isSet(on);
    }
    if (options.outputPath == QLatin1String("-")
        && (options.save == true || options.upload == true || options.copy == true))
        return usageError(
            QStringLiteral("-o - writes the image to standard output; it takes no --copy, --save or --upload"));
    if (!options.outputPath.isEmpty() && options.outputPath != QLatin1String("-") && options.save.has_value())
        return usageError(QStringLiteral("-o FILE saves the screenshot there; it takes no --save or --no-save"));
    return invocation;
}

template <typename Enum, std::size_t count>
std::optional<Enum> fromRaw(const std::array<std::pair<Enum, QLatin1String>, count> &values, const QString &raw)
{
    for (const auto &[value, name] : values) {
        if (raw == name)
            return value;
    }
    return std::nullopt;
}

Invocation parseRecord(const QStringList &arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QString());
    const TargetOptions target;
    const QCommandLineOption duration(QStringLiteral("duration"), QString(), QStringLiteral("S"));
    const QCommandLineOption codec(QStringLiteral("codec"), QString(), QStringLiteral("CODEC"));
    const QCommandLineOption quality(QStringLiteral("quality"), QString(), QStringLiteral("QUALITY"));
    const QCommandLineOption resolution(QStringLiteral("max-resolution"), QString(), QStringLiteral("CAP"));
    const QCommandLineOption cursor(QStringLiteral("cursor"), QString());
    const QCommandLineOption noCursor(QStringLiteral("no-cursor"), QString());
    const QCommandLineOption output({QStringLiteral("o"), QStringLiteral("output")}, QString(), QStringLiteral("FILE"));
    parser.addOptions({help, target.display, target.window, target.area, target.select, duration, codec, quality,
        resolution, cursor, noCursor, output});
    if (std::optional<Invocation> early = parseCommand(parser, arguments, help))
        return *early;

    Invocation invocation = withAction(Invocation::Action::record);
    RecordingRequest &options = invocation.recording;
    if (std::optional<Invocation> error = readTarget(parser, target, options))
        return *error;
    if (parser.isSet(duration)) {
        bool ok = false;
        options.durationSeconds = parser.value(duration).toDouble(&ok);
        if (!ok || !(*options.durationSeconds > 0 && *options.durationSeconds <= 86400))
            return usageError(QStringLiteral("--duration takes seconds, more than 0"));
    }
    if (parser.isSet(codec) && !(options.codec = fromRaw(videoCodecRawValues, parser.value(codec))))
        return usageError(QStringLiteral("--codec takes h264 or hevc"));
    if (parser.isSet(quality) && !(options.quality = fromRaw(videoQualityRawValues, parser.value(quality))))
        return usageError(QStringLiteral("--quality takes low, medium or high"));
    if (parser.isSet(resolution)
        && !(options.maxResolution = fromRaw(videoMaxResolutionRawValues, parser.value(resolution))))
        return usageError(QStringLiteral("--max-resolution takes unlimited, p1440, p1080 or p720"));
    if (parser.isSet(cursor) && parser.isSet(noCursor))
        return usageError(QStringLiteral("--cursor and --no-cursor contradict each other"));
    if (parser.isSet(cursor) || parser.isSet(noCursor))
        options.showsCursor = parser.isSet(cursor);
    options.outputPath = parser.value(output);
    if (options.outputPath == QLatin1String("-"))
        return usageError(QStringLiteral("-o takes a file; a recording cannot go to standard output"));
    return invocation;
}

Invocation parseUpload(const QStringList &arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QString());
    const QCommandLineOption anonymous(QStringLiteral("anonymous"), QString());
    parser.addOptions({help, anonymous});
    if (std::optional<Invocation> error = parseOptions(parser, arguments))
        return *error;
    if (parser.isSet(help))
        return printed(CommandLine::helpText());
    const QStringList files = parser.positionalArguments().mid(1);
    if (files.isEmpty())
        return usageError(QStringLiteral("upload needs at least one file"));
    Invocation invocation = withAction(Invocation::Action::upload);
    invocation.upload.files = files;
    invocation.upload.anonymous = parser.isSet(anonymous);
    return invocation;
}

Invocation parseUploads(const QStringList &arguments)
{
    const QStringList words = arguments.mid(2);
    if (words.isEmpty())
        return withAction(Invocation::Action::listUploads);
    if (words.first() == QLatin1String("clear") && words.size() == 1)
        return withAction(Invocation::Action::clearUploads);
    if (words.first() == QLatin1String("delete")) {
        if (words.size() != 2)
            return usageError(QStringLiteral("uploads delete takes one ID or list number (see 'qorvel uploads')"));
        Invocation invocation = withAction(Invocation::Action::deleteUpload);
        invocation.upload.record = words.at(1);
        return invocation;
    }
    return usageError(QLatin1String("unknown uploads command '") + words.join(QLatin1Char(' ')) + QLatin1Char('\''));
}

Invocation parseAccount(const QStringList &arguments)
{
    const QStringList words = arguments.mid(2);
    Invocation invocation = withAction(Invocation::Action::account);
    if (words.isEmpty() || words == QStringList{QStringLiteral("show")})
        return invocation;
    if (words == QStringList{QStringLiteral("set")}) {
        invocation.account = AccountAction::set;
        return invocation;
    }
    if (words == QStringList{QStringLiteral("clear")}) {
        invocation.account = AccountAction::clear;
        return invocation;
    }
    // The userhash is a secret: it is read from standard input, never from the arguments,
    // where every user of the machine can see it.
    if (words.first() == QLatin1String("set"))
        return usageError(QStringLiteral("account set reads the userhash from standard input, not from arguments"));
    return usageError(QLatin1String("unknown account command '") + words.join(QLatin1Char(' ')) + QLatin1Char('\''));
}

} // namespace

QString CommandLine::helpText()
{
    return QStringLiteral("Usage: qorvel [--take-screenshot | --toggle-recording | --settings]\n"
                          "       qorvel screenshot [--select | --display ID | --window XID] [--area X,Y,W,H]\n"
                          "                         [--format png|jpeg]\n"
                          "                         [--quality Q] [-o FILE|-]\n"
                          "                         [--[no-]copy] [--[no-]save] [--[no-]upload]\n"
                          "       qorvel record [--select | --display ID | --window XID] [--area X,Y,W,H]\n"
                          "                     [--duration S] [--codec h264|hevc] [--quality low|medium|high]\n"
                          "                     [--max-resolution unlimited|p1440|p1080|p720]\n"
                          "                     [--cursor|--no-cursor] [-o FILE]\n"
                          "       qorvel displays\n"
                          "       qorvel windows\n"
                          "       qorvel upload [--anonymous] FILE...\n"
                          "       qorvel uploads [delete ID|N | clear]\n"
                          "       qorvel account [show | set | clear]\n"
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
                          "    --copy, --save, --upload\n"
                          "                      copy the image, save it, upload it (the link is then copied\n"
                          "                      instead); the defaults are the preferences' screenshot actions\n"
                          "                      and a notification tells the outcome; --no-copy, --no-save,\n"
                          "                      --no-upload turn one off. With -o FILE only FILE is written,\n"
                          "                      unless --copy or --upload ask for more, and nothing is notified\n"
                          "  record       record the screen as an MP4 video until Ctrl+C, SIGTERM or --duration;\n"
                          "               targets as for screenshot\n"
                          "    --duration S      stop after S seconds\n"
                          "    --codec, --quality, --max-resolution, --[no-]cursor\n"
                          "                      the video settings (default: the preferences)\n"
                          "    -o, --output FILE write FILE, which must not exist yet (default: delivered as the\n"
                          "                      preferences' recording actions say, with a notification)\n"
                          "  displays     list the displays: id, frame in points, scale, name\n"
                          "  windows      list the windows a selection offers, front to back:\n"
                          "               id, frame in points, owner PID, application\n"
                          "  upload       upload files to Catbox and print their links; with the userhash\n"
                          "               of 'qorvel account set' they can be deleted again\n"
                          "    --anonymous       upload without the userhash\n"
                          "  uploads      list recent uploads, newest first: number, kind, date, link\n"
                          "    delete ID|N       delete an upload from Catbox, then from the list\n"
                          "    clear             forget every upload (the files stay on Catbox)\n"
                          "  account      show whether a Catbox userhash is stored\n"
                          "    set               store the userhash read from standard input\n"
                          "    clear             forget the userhash\n"
                          "\n"
                          "Options:\n"
                          "  --take-screenshot   open the selection for a screenshot, as the shortcut does\n"
                          "  --toggle-recording  start a recording, or stop the running one\n"
                          "  --settings          show the settings window\n"
                          "                      (these three ask the running Qorvel, or start it first;\n"
                          "                      bind them to keys in the desktop's keyboard settings)\n"
                          "  -h, --help          show this help and exit\n"
                          "  -v, --version       show the version and exit\n");
}

Invocation CommandLine::parse(const QStringList &arguments)
{
    const QString command = arguments.value(1);
    if (command == QLatin1String("screenshot"))
        return parseScreenshot(arguments);
    if (command == QLatin1String("record"))
        return parseRecord(arguments);
    if (command == QLatin1String("upload"))
        return parseUpload(arguments);
    if (command == QLatin1String("uploads"))
        return parseUploads(arguments);
    if (command == QLatin1String("account"))
        return parseAccount(arguments);
    if (command == QLatin1String("displays") || command == QLatin1String("windows")) {
        if (arguments.size() > 2)
            return usageError(QLatin1String("unexpected argument '") + arguments.at(2) + QLatin1Char('\''));
        return withAction(
            command == QLatin1String("displays") ? Invocation::Action::listDisplays : Invocation::Action::listWindows);
    }

    QCommandLineParser parser;
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QString());
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")}, QString());
    const std::array<std::pair<QCommandLineOption, InstanceRequest>, 3> requests{{
        {QCommandLineOption(QStringLiteral("take-screenshot")), InstanceRequest::takeScreenshot},
        {QCommandLineOption(QStringLiteral("toggle-recording")), InstanceRequest::toggleRecording},
        {QCommandLineOption(QStringLiteral("settings")), InstanceRequest::showSettings},
    }};
    parser.addOptions({help, version});
    for (const auto &[option, request] : requests)
        parser.addOption(option);
    if (std::optional<Invocation> error = parseOptions(parser, arguments))
        return *error;
    if (!parser.positionalArguments().isEmpty())
        return usageError(
            QLatin1String("unknown command '") + parser.positionalArguments().first() + QLatin1Char('\''));
    if (parser.isSet(help))
        return printed(helpText());
    if (parser.isSet(version))
        return printed(QLatin1String("qorvel ") + QLatin1String(qorvelVersion) + QLatin1Char('\n'));
    Invocation invocation;
    for (const auto &[option, request] : requests) {
        if (!parser.isSet(option))
            continue;
        if (invocation.request != InstanceRequest::reopen)
            return usageError(QStringLiteral("--take-screenshot, --toggle-recording and --settings go one at a time"));
        invocation.request = request;
    }
    return invocation;
}
