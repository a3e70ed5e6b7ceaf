#include "SessionTools.h"
#include "TrayMenu.h"
#include "VisibleWindows.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QProcess>
#include <QTest>

#include <csignal>

// The running tray application end to end: its item and menu in the desktop's tray, its
// global shortcut pressed with xdotool, its D-Bus commands, and what a capture leaves in the
// folder, on the clipboard, in the history, on Catbox and in dunst.
class tst_TrayApp : public QObject
{
    Q_OBJECT

private:
    QProcess m_qorvel;
    OverlayPaints m_overlay{m_qorvel};
    TrayMenu m_tray;

    static QDir desktop() { return QDir(QDir::home().filePath(QStringLiteral("Desktop"))); }

    bool overlayClosed()
    {
        return QTest::qWaitFor([this] { return !hasVisibleWindow(m_qorvel); }, 5000);
    }

    static QString lastSummary() { return lastNotify().at(3).toString(); }

private Q_SLOTS:
    void initTestCase()
    {
        QProcess account;
        account.start(QStringLiteral(QORVEL_EXECUTABLE), {QStringLiteral("account"), QStringLiteral("set")});
        account.write("testhash0123456789\n");
        account.closeWriteChannel();
        QVERIFY(account.waitForFinished(30'000) && account.exitCode() == 0);
        QDir().mkpath(QDir::home().filePath(QStringLiteral(".config/qorvel")));
        QFile preferences(QDir::home().filePath(QStringLiteral(".config/qorvel/qorvel.conf")));
        QVERIFY(preferences.open(QIODevice::WriteOnly));
        preferences.write("[General]\nscreenshotUpload=true\nplayShutterSound=false\n");
        preferences.close();

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("qorvel.overlay.timing=true"));
        m_qorvel.setProcessEnvironment(environment);
        m_qorvel.start(QStringLiteral(QORVEL_EXECUTABLE), {});
        QVERIFY(m_qorvel.waitForStarted());
        // The name is claimed just before the coordinator starts and grabs the shortcuts.
        QTRY_VERIFY_WITH_TIMEOUT(
            QDBusConnection::sessionBus().interface()->isServiceRegistered(QStringLiteral("com.vostrink.qorvel")),
            15'000);
        QTest::qWait(500);
    }

    void cleanupTestCase()
    {
        // Whoever owns the name now: the process started here, or the one it restarted as.
        const QDBusReply<uint> owner
            = QDBusConnection::sessionBus().interface()->servicePid(QStringLiteral("com.vostrink.qorvel"));
        if (owner.isValid())
            ::kill(pid_t(owner.value()), SIGTERM);
        QVERIFY(m_qorvel.state() == QProcess::NotRunning || m_qorvel.waitForFinished(10'000));
    }

    void withoutATrayItSaysHowToReachIt()
    {
        if (!qEnvironmentVariable("QORVEL_SESSION_TRAY").isEmpty())
            QSKIP("runs in a session without a tray");
        QTRY_COMPARE_WITH_TIMEOUT(lastSummary(), QStringLiteral("Qorvel is running without a tray icon"), 10'000);
        QVERIFY(lastNotify().at(4).toString().contains(QLatin1String("qorvel --settings")));
    }

    // The whole road: the shortcut, a drag, the delivery, then the upload deleted from Catbox
    // through the tray menu after the confirmation.
    void shortcutCapturesAndTheMenuDeletes()
    {
        if (qEnvironmentVariable("QORVEL_SESSION_TRAY") != QLatin1String("sni"))
            QSKIP("needs the StatusNotifierItem host");
        QVERIFY(m_tray.waitForItem());
        xdotool(QStringLiteral("mousemove 300 200"));
        xdotool(QStringLiteral("key shift+alt+4"));
        QVERIFY(m_overlay.next());
        for (const QString &step : {QStringLiteral("mousedown 1"), QStringLiteral("mousemove 400 250"),
                 QStringLiteral("mousemove 600 350"), QStringLiteral("mouseup 1")}) {
            xdotool(step);
            QTest::qWait(100);
        }
        QTRY_COMPARE_WITH_TIMEOUT(desktop().entryList({QStringLiteral("*.png")}).size(), 1, 10'000);
        const QString saved = desktop().filePath(desktop().entryList({QStringLiteral("*.png")}).first());
        QTRY_COMPARE(QImage(saved).size(), QSize(300, 150));
        QTRY_COMPARE_WITH_TIMEOUT(lastSummary(), QStringLiteral("Screenshot uploaded, link copied"), 10'000);
        const QString link = QString::fromUtf8(pasted(QStringLiteral("text/plain")));
        QVERIFY2(link.startsWith(QLatin1String("https://files.catbox.moe/")), qPrintable(link));
        const QString remoteName = link.section(QLatin1Char('/'), -1);
        QVERIFY(QFile::exists(
            QDir(qEnvironmentVariable("CATBOX_STUB_DIR")).filePath(QLatin1String("files/") + remoteName)));

        const QStringList menu = m_tray.layout();
        const qsizetype entry = menu.indexOf(QStringLiteral("Recent Uploads")) + 1;
        QVERIFY2(
            menu.value(entry).startsWith(QStringLiteral("  Screenshot · Today at ")), qPrintable(menu.join(u'\n')));
        QVERIFY(m_tray.click(
            {QStringLiteral("Recent Uploads"), menu.at(entry).trimmed(), QStringLiteral("Delete from Catbox…")}));
        // The confirmation: "Delete" is its default button.
        QTRY_VERIFY_WITH_TIMEOUT(hasVisibleWindow({QStringLiteral("--name"), QStringLiteral("^Qorvel$")}), 10'000);
        xdotool(QStringLiteral("search --onlyvisible --name ^Qorvel$ windowactivate --sync key Return"));
        QTRY_COMPARE_WITH_TIMEOUT(lastSummary(), QStringLiteral("Deleted from Catbox"), 10'000);
        QVERIFY(!QFile::exists(
            QDir(qEnvironmentVariable("CATBOX_STUB_DIR")).filePath(QLatin1String("files/") + remoteName)));
        QVERIFY(m_tray.layout().contains(QStringLiteral("  No Uploads (disabled)")));
    }

    // A second press closes the overlay and does nothing else; the D-Bus command opens the same
    // overlay, and Escape closes it without a file.
    void secondPressClosesTheOverlay()
    {
        const int files = int(desktop().entryList({QStringLiteral("*.png")}).size());
        xdotool(QStringLiteral("key shift+alt+4"));
        QVERIFY(m_overlay.next());
        xdotool(QStringLiteral("key shift+alt+4"));
        QVERIFY(overlayClosed());

        QProcess command;
        command.start(QStringLiteral(QORVEL_EXECUTABLE), {QStringLiteral("--take-screenshot")});
        QVERIFY(command.waitForFinished(10'000));
        QCOMPARE(command.exitCode(), 0);
        QVERIFY(m_overlay.next());
        xdotool(QStringLiteral("key Escape"));
        QVERIFY(overlayClosed());
        QTest::qWait(300);
        QCOMPARE(desktop().entryList({QStringLiteral("*.png")}).size(), files);
    }

    // Last: Qorvel starts again, as another process, to show its item in the new tray.
    void aTrayThatComesLaterShowsTheItem()
    {
        if (!qEnvironmentVariable("QORVEL_SESSION_TRAY").isEmpty())
            QSKIP("runs in a session without a tray");
        QProcess host;
        host.start(QStringLiteral("gtk-sni-tray-standalone"),
            {QStringLiteral("--bottom"), QStringLiteral("--end"), QStringLiteral("--watcher")});
        QVERIFY(m_tray.waitForItem());
        QCOMPARE(m_tray.toolTip(), QStringLiteral("Qorvel"));
        QTRY_COMPARE(m_qorvel.state(), QProcess::NotRunning);
        host.terminate();
        host.waitForFinished();
    }
};

QTEST_GUILESS_MAIN(tst_TrayApp)
#include "tst_TrayApp.moc"
