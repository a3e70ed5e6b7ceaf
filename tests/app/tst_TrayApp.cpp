#include "QorvelCommand.h"
#include "SessionTools.h"
#include "TestFiles.h"
#include "TrayMenu.h"

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

    bool overlayClosed()
    {
        return QTest::qWaitFor([this] { return !hasVisibleWindow(m_qorvel); }, 5000);
    }

    static QString lastSummary() { return lastNotify().at(3).toString(); }
    static qsizetype screenshotsSaved() { return desktopFolder().entryList({QStringLiteral("*.png")}).size(); }

private Q_SLOTS:
    void initTestCase()
    {
        QCOMPARE(runQorvel(words("account set"), "testhash0123456789\n").exitCode, 0);
        QVERIFY(QDir().mkpath(QDir::home().filePath(QStringLiteral(".config/qorvel"))));
        writeTestFile(QDir::home().filePath(QStringLiteral(".config/qorvel/qorvel.conf")),
            "[General]\nhasCompletedOnboarding=true\nscreenshotUpload=true\nplayShutterSound=false\n");

        m_qorvel.setProcessEnvironment(OverlayPaints::logging());
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
        xdotool("mousemove 300 200");
        xdotool("key shift+alt+4");
        QVERIFY(m_overlay.next());
        dragTheTestArea();
        QTRY_COMPARE_WITH_TIMEOUT(screenshotsSaved(), 1, 10'000);
        const QString saved = desktopFolder().filePath(desktopFolder().entryList({QStringLiteral("*.png")}).first());
        QTRY_COMPARE(QImage(saved).size(), QSize(300, 150));
        QTRY_COMPARE_WITH_TIMEOUT(lastSummary(), QStringLiteral("Screenshot uploaded, link copied"), 10'000);
        const QString link = QString::fromUtf8(pasted(QStringLiteral("text/plain")));
        QVERIFY2(link.startsWith(QLatin1String("https://files.catbox.moe/")), qPrintable(link));
        QVERIFY(onCatbox(link));

        const QStringList menu = m_tray.layout();
        const qsizetype entry = menu.indexOf(QStringLiteral("Recent Uploads")) + 1;
        QVERIFY2(
            menu.value(entry).startsWith(QStringLiteral("  Screenshot · Today at ")), qPrintable(menu.join(u'\n')));
        QVERIFY(m_tray.click(
            {QStringLiteral("Recent Uploads"), menu.at(entry).trimmed(), QStringLiteral("Delete from Catbox…")}));
        // The confirmation: "Delete" is its default button.
        QTRY_VERIFY_WITH_TIMEOUT(hasVisibleWindow(words("--name ^Qorvel$")), 10'000);
        xdotool("search --onlyvisible --name ^Qorvel$ windowactivate --sync key Return");
        QTRY_COMPARE_WITH_TIMEOUT(lastSummary(), QStringLiteral("Deleted from Catbox"), 10'000);
        QVERIFY(!onCatbox(link));
        QVERIFY(m_tray.layout().contains(QStringLiteral("  No Uploads (disabled)")));
    }

    // A second press closes the overlay and does nothing else; the D-Bus command opens the same
    // overlay, and Escape closes it without a file.
    void secondPressClosesTheOverlay()
    {
        const qsizetype files = screenshotsSaved();
        xdotool("key shift+alt+4");
        QVERIFY(m_overlay.next());
        xdotool("key shift+alt+4");
        QVERIFY(overlayClosed());

        QCOMPARE(runQorvel(words("--take-screenshot")).exitCode, 0);
        QVERIFY(m_overlay.next());
        xdotool("key Escape");
        QVERIFY(overlayClosed());
        QTest::qWait(300);
        QCOMPARE(screenshotsSaved(), files);
    }

    // Last: Qorvel starts again, as another process, to show its item in the new tray.
    void aTrayThatComesLaterShowsTheItem()
    {
        if (!qEnvironmentVariable("QORVEL_SESSION_TRAY").isEmpty())
            QSKIP("runs in a session without a tray");
        QProcess host;
        host.start(QStringLiteral("gtk-sni-tray-standalone"), words("--bottom --end --watcher"));
        QVERIFY(m_tray.waitForItem());
        QCOMPARE(m_tray.toolTip(), QStringLiteral("Qorvel"));
        QTRY_COMPARE(m_qorvel.state(), QProcess::NotRunning);
        host.terminate();
        host.waitForFinished();
    }
};

QTEST_GUILESS_MAIN(tst_TrayApp)
#include "tst_TrayApp.moc"
