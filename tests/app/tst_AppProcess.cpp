#include "QorvelCommand.h"
#include "SessionTools.h"
#include "TestFiles.h"
#include "VisibleWindows.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

const QString serviceName = QStringLiteral("com.vostrink.qorvel");
constexpr int launchTimeoutMs = 15000;

// The client windows the window manager lists: what a taskbar would show.
QStringList clientWindows()
{
    const QString line
        = runProgram(QStringLiteral("xprop"), {QStringLiteral("-root"), QStringLiteral("_NET_CLIENT_LIST")}).text();
    QStringList ids;
    for (const QRegularExpressionMatch &match : QRegularExpression(QStringLiteral("0x[0-9a-f]+")).globalMatch(line))
        ids << match.captured();
    return ids;
}

QString windowTitle(const QString &id)
{
    const QString line
        = runProgram(QStringLiteral("xprop"), {QStringLiteral("-id"), id, QStringLiteral("_NET_WM_NAME")}).text();
    const qsizetype quote = line.indexOf(QLatin1Char('"'));
    return quote < 0 ? QString() : line.mid(quote + 1).chopped(2);
}

void setAge(const QString &path, qint64 seconds)
{
    const timespec when{time(nullptr) - seconds, 0};
    const timespec times[2] = {when, when};
    QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
}

} // namespace

class tst_AppProcess : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_homeDir;
    QDir m_home;
    QProcessEnvironment m_environment;
    QList<QProcess *> m_running;

    QString stagingFile(const QString &name) const
    {
        return m_home.filePath(QStringLiteral("cache/com.vostrink.qorvel/Uploads/") + name);
    }

    QProcess *launch(QProcess::ProcessChannelMode channels = QProcess::ForwardedErrorChannel)
    {
        auto process = new QProcess(this);
        process->setProcessEnvironment(m_environment);
        process->setProcessChannelMode(channels);
        process->start(QStringLiteral(QORVEL_EXECUTABLE), {});
        m_running << process;
        return process;
    }

    // A launch that should hand over to the primary and exit at once with status 0.
    void launchSecondary()
    {
        QProcess *second = launch();
        QVERIFY2(second->waitForFinished(launchTimeoutMs), "a second launch did not exit");
        QCOMPARE(second->exitStatus(), QProcess::NormalExit);
        QCOMPARE(second->exitCode(), 0);
    }

    void useBus(bool sessionBus)
    {
        if (!sessionBus)
            m_environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                QStringLiteral("unix:path=") + m_home.filePath(QStringLiteral("no-bus")));
    }

    bool primaryIsReady(bool sessionBus) const
    {
        if (sessionBus)
            return QDBusConnection::sessionBus().interface()->isServiceRegistered(serviceName);
        return QFile::exists(m_home.filePath(QStringLiteral("runtime/com.vostrink.qorvel.socket")));
    }

private Q_SLOTS:
    void init()
    {
        m_homeDir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_homeDir->isValid());
        m_home.setPath(m_homeDir->path());
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home.filePath(QStringLiteral("config")));
        m_environment.insert(QStringLiteral("XDG_CACHE_HOME"), m_home.filePath(QStringLiteral("cache")));
        m_environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_home.filePath(QStringLiteral("runtime")));
        QVERIFY(QDir().mkpath(m_home.filePath(QStringLiteral("runtime"))));
        QFile::setPermissions(
            m_home.filePath(QStringLiteral("runtime")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

        QVERIFY(QDir().mkpath(stagingFile(QString())));
        for (const QString &name : {QStringLiteral("stale.png"), QStringLiteral("fresh.png")}) {
            QFile file(stagingFile(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        setAge(stagingFile(QStringLiteral("stale.png")), qint64(25) * 3600);
        setAge(stagingFile(QStringLiteral("fresh.png")), qint64(23) * 3600);
        // What killed processes left in the temporary folder goes after a day too.
        for (const char *name : {"qorvel-thumb-stale.png", "qorvel-upload-fresh"})
            writeTestFile(QDir::temp().filePath(QLatin1String(name)), "left");
        setAge(QDir::temp().filePath(QStringLiteral("qorvel-thumb-stale.png")), qint64(25) * 3600);
    }

    void cleanup()
    {
        for (QProcess *process : std::as_const(m_running)) {
            process->kill();
            process->waitForFinished(5000);
        }
        qDeleteAll(m_running);
        m_running.clear();
        QTRY_VERIFY_WITH_TIMEOUT(clientWindows().isEmpty(), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!QDBusConnection::sessionBus().interface()->isServiceRegistered(serviceName), 5000);
    }

    void secondLaunchShowsSettingsInTheFirst_data()
    {
        QTest::addColumn<bool>("sessionBus");
        QTest::newRow("over D-Bus") << true;
        QTest::newRow("over a local socket without a bus") << false;
    }

    void secondLaunchShowsSettingsInTheFirst()
    {
        QFETCH(bool, sessionBus);
        useBus(sessionBus);

        QProcess *first = launch();
        QTRY_VERIFY_WITH_TIMEOUT(primaryIsReady(sessionBus), launchTimeoutMs);
        QVERIFY2(clientWindows().isEmpty(), "a tray application starts without a window");

        launchSecondary();
        QTRY_COMPARE_WITH_TIMEOUT(clientWindows().size(), 1, launchTimeoutMs);
        QCOMPARE(windowTitle(clientWindows().first()), QStringLiteral("Qorvel Settings"));
        // Start-up has run; the purge follows the recovery of leftover recordings.
        QTRY_VERIFY(!QFile::exists(QDir::temp().filePath(QStringLiteral("qorvel-thumb-stale.png"))));
        QVERIFY(!QFile::exists(stagingFile(QStringLiteral("stale.png"))));
        QVERIFY(QFile::exists(stagingFile(QStringLiteral("fresh.png"))));
        QVERIFY(QFile::exists(QDir::temp().filePath(QStringLiteral("qorvel-upload-fresh"))));
        QCOMPARE(first->state(), QProcess::Running);
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("expectedOutput");
        QTest::newRow("help") << QStringList{QStringLiteral("--help")} << 0 << QStringLiteral("Usage: qorvel");
        QTest::newRow("unknown option") << QStringList{QStringLiteral("--frobnicate")} << 2
                                        << QStringLiteral("qorvel: unknown option '--frobnicate'");
        // Numbers no screen has are typos, refused before anything is allocated for them.
        QTest::newRow("area beyond any screen")
            << QStringList{QStringLiteral("screenshot"), QStringLiteral("--area"), QStringLiteral("0,0,1e300,1e300")}
            << 2 << QStringLiteral("qorvel: --area takes X,Y,W,H in points");
        QTest::newRow("quality above 1") << QStringList{QStringLiteral("screenshot"), QStringLiteral("--quality"),
            QStringLiteral("7")} << 2 << QStringLiteral("qorvel: --quality takes a number from 0 to 1");
    }

    // With Qorvel running, the command's screenshot is taken by the running instance: the file
    // lands where the command's relative path says, and the copy stays with the instance rather
    // than with a keeper left behind (the standalone keeper is tst_Selection's).
    void screenshotsGoToTheRunningInstance()
    {
        QProcess *primary = launch();
        QTRY_VERIFY_WITH_TIMEOUT(primaryIsReady(true), launchTimeoutMs);
        QProcess command;
        command.setProcessEnvironment(m_environment);
        command.setWorkingDirectory(m_home.path());
        command.start(QStringLiteral(QORVEL_EXECUTABLE),
            {QStringLiteral("screenshot"), QStringLiteral("--area"), QStringLiteral("0,0,64,32"),
                QStringLiteral("--copy"), QStringLiteral("-o"), QStringLiteral("shot.png")});
        QVERIFY(command.waitForFinished(launchTimeoutMs));
        QCOMPARE(command.exitCode(), 0);
        QCOMPARE(
            command.readAllStandardOutput().trimmed(), QFile::encodeName(m_home.filePath(QStringLiteral("shot.png"))));
        QCOMPARE(QImage(m_home.filePath(QStringLiteral("shot.png"))).size(), QSize(64, 32));
        QCOMPARE(QImage::fromData(pasted(QStringLiteral("image/png"))).size(), QSize(64, 32));

        // The instance answered the paste: with it gone, nothing does.
        primary->terminate();
        QVERIFY(primary->waitForFinished(launchTimeoutMs));
        QCOMPARE(QImage::fromData(pasted(QStringLiteral("image/png"))).size(), QSize(0, 0));
    }

    // Selections are served by the instance too, one at a time: its overlay takes the drag and
    // the command gets the file. A second command closes the first one's overlay (which ends
    // cancelled) and opens its own; a command that is killed takes its overlay along, and a
    // later drag writes nothing in its name.
    void selectionsGoToTheRunningInstance_data()
    {
        QTest::addColumn<bool>("killed");
        QTest::newRow("a second command replaces the first") << false;
        QTest::newRow("a killed command closes its overlay") << true;
    }
    void selectionsGoToTheRunningInstance()
    {
        QFETCH(bool, killed);
        m_environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("qorvel.overlay.timing=true"));
        QProcess *primary = launch(QProcess::SeparateChannels);
        QTRY_VERIFY_WITH_TIMEOUT(primaryIsReady(true), launchTimeoutMs);
        OverlayPaints overlay(*primary);
        const auto selectInto = [&](const QString &file) {
            auto *command = new QProcess(this);
            m_running << command;
            command->setProcessEnvironment(m_environment);
            command->setWorkingDirectory(m_home.path());
            command->start(QStringLiteral(QORVEL_EXECUTABLE),
                {QStringLiteral("screenshot"), QStringLiteral("--select"), QStringLiteral("-o"), file});
            return overlay.next() ? command : nullptr;
        };
        const auto ended = [](QProcess *command) {
            // waitForFinished() is false for a process that has finished already.
            return command->state() == QProcess::NotRunning || command->waitForFinished(launchTimeoutMs);
        };
        const auto act = [](const QStringList &steps) {
            for (const QString &step : steps) {
                xdotool(step);
                QTest::qWait(100);
            }
        };
        const QStringList drag{QStringLiteral("mousemove 300 200 mousedown 1 mousemove 400 250"),
            QStringLiteral("mousemove 600 350 mouseup 1")};
        const auto imageSize = [this](const char *file) { return QImage(m_home.filePath(QLatin1String(file))).size(); };

        QProcess *first = selectInto(QStringLiteral("first.png"));
        QVERIFY(first);
        if (killed) {
            first->kill();
            QVERIFY(ended(first));
            QTRY_VERIFY_WITH_TIMEOUT(!hasVisibleWindow(*primary), launchTimeoutMs);
            act(drag);
            QTest::qWait(500);
            QCOMPARE(imageSize("first.png"), QSize(0, 0));
            return;
        }
        QProcess *second = selectInto(QStringLiteral("second.png"));
        QVERIFY(second);
        QVERIFY(ended(first));
        QCOMPARE(first->exitCode(), 1);
        act(drag);
        QVERIFY(ended(second));
        QCOMPARE(second->exitCode(), 0);
        QCOMPARE(imageSize("second.png"), QSize(300, 150));
        QCOMPARE(imageSize("first.png"), QSize(0, 0));
        QTRY_VERIFY_WITH_TIMEOUT(!hasVisibleWindow(*primary), launchTimeoutMs);
    }

    // An instance that stops answering (here frozen with SIGSTOP) is reported, not doubled,
    // and no command waits for it for long: not a second launch, not a screenshot, not a
    // selection, which waits for the user but not for a dead peer.
    void frozenInstanceIsReportedNotWaitedFor()
    {
        QProcess *primary = launch();
        QTRY_VERIFY_WITH_TIMEOUT(primaryIsReady(true), launchTimeoutMs);
        ::kill(static_cast<pid_t>(primary->processId()), SIGSTOP);
        const QList<QStringList> commands{{},
            {QStringLiteral("screenshot"), QStringLiteral("--area"), QStringLiteral("0,0,64,32"), QStringLiteral("-o"),
                m_home.filePath(QStringLiteral("f.png"))},
            {QStringLiteral("screenshot"), QStringLiteral("--select"), QStringLiteral("-o"),
                m_home.filePath(QStringLiteral("g.png"))}};
        for (const QStringList &arguments : commands) {
            const QorvelRun run = runQorvel(arguments, {}, m_environment);
            QCOMPARE(run.exitCode, 1);
            QVERIFY2(run.errors.contains(QLatin1String("Qorvel is already running but did not answer.")),
                qPrintable(arguments.join(QLatin1Char(' '))));
        }
        QVERIFY(!QFile::exists(m_home.filePath(QStringLiteral("runtime/com.vostrink.qorvel.socket"))));
        ::kill(static_cast<pid_t>(primary->processId()), SIGCONT);
    }

    void commandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, expectedOutput);
        // No display at all: these must not need one.
        m_environment.remove(QStringLiteral("DISPLAY"));
        const QorvelRun run = runQorvel(arguments, {}, m_environment);
        QCOMPARE(run.exitCode, exitCode);
        const QString output = exitCode == 0 ? run.text() : run.errors;
        QVERIFY2(output.startsWith(expectedOutput), qPrintable(output));
        QVERIFY(output.contains(QLatin1Char('\n')));
    }
};

QTEST_GUILESS_MAIN(tst_AppProcess)
#include "tst_AppProcess.moc"
