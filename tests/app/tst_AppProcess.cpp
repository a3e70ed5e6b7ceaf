#include "QorvelCommand.h"
#include "SessionTools.h"
#include "TestFiles.h"

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

// The titles of the client windows the window manager lists: what a taskbar would show.
QStringList windowTitles()
{
    const auto xprop
        = [](const QStringList &arguments) { return runProgram(QStringLiteral("xprop"), arguments).text(); };
    const QString list = xprop(words("-root _NET_CLIENT_LIST"));
    QStringList titles;
    for (const QRegularExpressionMatch &id : QRegularExpression(QStringLiteral("0x[0-9a-f]+")).globalMatch(list))
        titles << xprop({QStringLiteral("-id"), id.captured(), QStringLiteral("_NET_WM_NAME")}).section(u'"', 1, -2);
    return titles;
}

// A file left `hours` ago, as a process that was killed leaves it.
void leaveFile(const QString &path, qint64 hours)
{
    writeTestFile(path, "left");
    const timespec when{time(nullptr) - hours * 3600, 0};
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

    QProcess *launch(
        const QStringList &arguments = {}, QProcess::ProcessChannelMode channels = QProcess::ForwardedErrorChannel)
    {
        auto process = new QProcess(this);
        process->setProcessEnvironment(m_environment);
        process->setProcessChannelMode(channels);
        process->setWorkingDirectory(m_home.path());
        process->start(QStringLiteral(QORVEL_EXECUTABLE), arguments);
        m_running << process;
        return process;
    }

    bool primaryIsReady(bool sessionBus = true) const
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
        QVERIFY(m_home.mkdir(QStringLiteral("runtime"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        QVERIFY(m_home.mkpath(QStringLiteral("config/qorvel")));
        writeTestFile(
            m_home.filePath(QStringLiteral("config/qorvel/qorvel.conf")), "[General]\nhasCompletedOnboarding=true\n");
    }

    // A new user is welcomed at the first start, and once finished never again.
    void firstStartWelcomesOnce()
    {
        QFile::remove(m_home.filePath(QStringLiteral("config/qorvel/qorvel.conf")));
        QProcess *first = launch();
        const QStringList welcome{QStringLiteral("Welcome to Qorvel")};
        QTRY_COMPARE_WITH_TIMEOUT(windowTitles(), welcome, launchTimeoutMs);
        // Continue, Continue, Done: each the default button of its step.
        for (int step = 0; step < 3; ++step) {
            xdotool(QStringLiteral("search --name Welcome windowactivate --sync key Return"));
            QTest::qWait(300);
        }
        QTRY_VERIFY_WITH_TIMEOUT(windowTitles().isEmpty(), 5000);
        first->terminate();
        QVERIFY(first->waitForFinished(10'000));

        launch();
        QTRY_VERIFY_WITH_TIMEOUT(primaryIsReady(), launchTimeoutMs);
        QTest::qWait(1000);
        QVERIFY(windowTitles().isEmpty());
    }

    void cleanup()
    {
        for (QProcess *process : std::as_const(m_running)) {
            process->kill();
            process->waitForFinished(5000);
        }
        qDeleteAll(m_running);
        m_running.clear();
        QTRY_VERIFY_WITH_TIMEOUT(windowTitles().isEmpty(), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!QDBusConnection::sessionBus().interface()->isServiceRegistered(serviceName), 5000);
    }

    void secondLaunchShowsSettingsInTheFirst_data()
    {
        QTest::addColumn<bool>("sessionBus");
        QTest::newRow("over D-Bus") << true;
        QTest::newRow("over a local socket without a bus") << false;
    }

    // Start-up also takes what is over a day old from the staging folder and what killed
    // processes left in the temporary folder.
    void secondLaunchShowsSettingsInTheFirst()
    {
        QFETCH(bool, sessionBus);
        if (!sessionBus)
            m_environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                QStringLiteral("unix:path=") + m_home.filePath(QStringLiteral("no-bus")));
        const QDir staging(m_home.filePath(QStringLiteral("cache/com.vostrink.qorvel/Uploads")));
        QVERIFY(QDir().mkpath(staging.path()));
        const QStringList stale{staging.filePath(QStringLiteral("stale.png")),
            QDir::temp().filePath(QStringLiteral("qorvel-thumb-stale.png"))};
        const QStringList fresh{staging.filePath(QStringLiteral("fresh.png")),
            QDir::temp().filePath(QStringLiteral("qorvel-upload-fresh"))};
        for (const QString &path : stale)
            leaveFile(path, 25);
        for (const QString &path : fresh)
            leaveFile(path, 23);

        QProcess *first = launch();
        QTRY_VERIFY_WITH_TIMEOUT(primaryIsReady(sessionBus), launchTimeoutMs);
        QVERIFY2(windowTitles().isEmpty(), "a tray application starts without a window");

        QCOMPARE(runQorvel({}, {}, m_environment).exitCode, 0);
        QTRY_COMPARE_WITH_TIMEOUT(windowTitles(), QStringList{QStringLiteral("Qorvel Settings")}, launchTimeoutMs);
        // The purge follows the recovery of leftover recordings.
        QTRY_VERIFY(!QFile::exists(stale.at(0)) && !QFile::exists(stale.at(1)));
        QVERIFY(QFile::exists(fresh.at(0)) && QFile::exists(fresh.at(1)));
        QCOMPARE(first->state(), QProcess::Running);
    }

    // With Qorvel running, the command's screenshot is taken by the running instance: the file
    // lands where the command's relative path says, and the copy stays with the instance rather
    // than with a keeper left behind (the standalone keeper is tst_Selection's).
    void screenshotsGoToTheRunningInstance()
    {
        QProcess *primary = launch();
        QTRY_VERIFY_WITH_TIMEOUT(primaryIsReady(), launchTimeoutMs);
        QProcess *command = launch(words("screenshot --area 0,0,64,32 --copy -o shot.png"), QProcess::SeparateChannels);
        QVERIFY(command->waitForFinished(launchTimeoutMs));
        QCOMPARE(command->exitCode(), 0);
        QCOMPARE(
            command->readAllStandardOutput().trimmed(), QFile::encodeName(m_home.filePath(QStringLiteral("shot.png"))));
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
        m_environment = OverlayPaints::logging(m_environment);
        QProcess *primary = launch({}, QProcess::SeparateChannels);
        QTRY_VERIFY_WITH_TIMEOUT(primaryIsReady(), launchTimeoutMs);
        OverlayPaints overlay(*primary);
        // waitForFinished() is false for a process that has finished already.
        const auto ended = [](QProcess *command) {
            return command->state() == QProcess::NotRunning || command->waitForFinished(launchTimeoutMs);
        };
        const auto imageSize = [this](const char *file) { return QImage(m_home.filePath(QLatin1String(file))).size(); };

        QProcess *first = launch(words("screenshot --select -o first.png"));
        QVERIFY(overlay.next());
        if (killed) {
            first->kill();
            QVERIFY(ended(first));
            QTRY_VERIFY_WITH_TIMEOUT(!hasVisibleWindow(*primary), launchTimeoutMs);
            dragTheTestArea();
            QTest::qWait(500);
            QCOMPARE(imageSize("first.png"), QSize(0, 0));
            return;
        }
        QProcess *second = launch(words("screenshot --select -o second.png"));
        QVERIFY(overlay.next());
        QVERIFY(ended(first));
        QCOMPARE(first->exitCode(), 1);
        dragTheTestArea();
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
        QTRY_VERIFY_WITH_TIMEOUT(primaryIsReady(), launchTimeoutMs);
        ::kill(static_cast<pid_t>(primary->processId()), SIGSTOP);
        for (const QStringList &arguments :
            {QStringList(), words("screenshot --area 0,0,64,32 -o") << m_home.filePath(QStringLiteral("f.png")),
                words("screenshot --select -o") << m_home.filePath(QStringLiteral("g.png"))}) {
            const QorvelRun run = runQorvel(arguments, {}, m_environment);
            QCOMPARE(run.exitCode, 1);
            QVERIFY2(run.errors.contains(QLatin1String("Qorvel is already running but did not answer.")),
                qPrintable(arguments.join(QLatin1Char(' '))));
        }
        QVERIFY(!QFile::exists(m_home.filePath(QStringLiteral("runtime/com.vostrink.qorvel.socket"))));
        ::kill(static_cast<pid_t>(primary->processId()), SIGCONT);
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("expectedOutput");
        QTest::newRow("help") << words("--help") << 0 << QStringLiteral("Usage: qorvel");
        QTest::newRow("unknown option") << words("--frobnicate") << 2
                                        << QStringLiteral("qorvel: unknown option '--frobnicate'");
        // Numbers no screen has are typos, refused before anything is allocated for them.
        QTest::newRow("area beyond any screen") << words("screenshot --area 0,0,1e300,1e300") << 2
                                                << QStringLiteral("qorvel: --area takes X,Y,W,H in points");
        QTest::newRow("quality above 1") << words("screenshot --quality 7") << 2
                                         << QStringLiteral("qorvel: --quality takes a number from 0 to 1");
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
        QVERIFY2(output.startsWith(expectedOutput) && output.contains(QLatin1Char('\n')), qPrintable(output));
    }
};

QTEST_GUILESS_MAIN(tst_AppProcess)
#include "tst_AppProcess.moc"
