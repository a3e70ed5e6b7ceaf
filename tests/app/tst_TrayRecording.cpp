#include "QorvelCommand.h"
#include "SessionTools.h"
#include "TrayMenu.h"
#include "X11Connection.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTest>

#include <xcb/xcb.h>

#include <algorithm>
#include <csignal>

// Recording from the running tray application end to end: the shortcut pressed with xdotool, a
// drag in the overlay, the frame on the screen, the elapsed time in the tray's tool tip, the file
// in the folder read back with ffprobe and ffmpeg, and the notification in dunst.
namespace {

constexpr xcb_keycode_t escapeKey = 9;

QStringList recordings()
{
    return desktopFolder().entryList({QStringLiteral("*.mp4")}, QDir::Files, QDir::Time | QDir::Reversed);
}

QStringList unfinished()
{
    return QDir(QDir::home().filePath(QStringLiteral(".cache/com.vostrink.qorvel/Recordings")))
        .entryList({QStringLiteral("recording-*")}, QDir::Files);
}

qsizetype notificationsTitled(const QString &summary)
{
    const QList<QJsonArray> calls = notifyCalls();
    return std::count_if(
        calls.begin(), calls.end(), [&](const QJsonArray &call) { return call.at(3).toString() == summary; });
}

// Pixels of the frame's red among `bytes` of RGB, three a pixel.
qint64 redPixels(const uchar *rgb, qsizetype bytes)
{
    qint64 red = 0;
    for (qsizetype i = 0; i + 2 < bytes; i += 3)
        red += rgb[i] > 160 && rgb[i + 1] < 90 && rgb[i + 2] < 90 ? 1 : 0;
    return red;
}

// In every decoded picture of the file; -1 when nothing decodes.
qint64 redPixelsInFile(const QString &file)
{
    const QByteArray pixels
        = runProgram(QStringLiteral("ffmpeg"), words("-v error -i") << file << words("-f rawvideo -pix_fmt rgb24 -"))
              .output;
    return pixels.isEmpty() ? -1 : redPixels(reinterpret_cast<const uchar *>(pixels.constData()), pixels.size());
}

qint64 redPixelsOnScreen(const QRect &pixels)
{
    const QImage shown = screenRegion(pixels, QDir::homePath()).convertToFormat(QImage::Format_RGB888);
    qint64 red = 0;
    for (int y = 0; y < shown.height(); ++y)
        red += redPixels(shown.constScanLine(y), qsizetype(shown.width()) * 3);
    return red;
}

} // namespace

class tst_TrayRecording : public QObject
{
    Q_OBJECT

private:
    QProcess m_qorvel;
    OverlayPaints m_overlay{m_qorvel};
    TrayMenu m_tray;
    std::shared_ptr<X11Connection> m_other; // another program on the same display

    void startQorvel()
    {
        m_qorvel.setProcessEnvironment(OverlayPaints::logging());
        m_overlay.restart();
        m_qorvel.start(QStringLiteral(QORVEL_EXECUTABLE), {});
        QVERIFY(m_qorvel.waitForStarted());
        QVERIFY(m_tray.waitForItem());
    }

    // Qorvel reads the file again when it changes, and keeps the shortcuts it wrote there.
    static void setCountdown(bool on)
    {
        QSettings preferences(
            QDir::home().filePath(QStringLiteral(".config/qorvel/qorvel.conf")), QSettings::IniFormat);
        preferences.setValue(QStringLiteral("playShutterSound"), false);
        preferences.setValue(QStringLiteral("videoCountdown"), on);
    }

    // Opens the overlay with the shortcut and drags over 300 × 150 pixels at (300, 200).
    bool dragArea()
    {
        xdotool("mousemove 300 200");
        xdotool("key shift+alt+5");
        if (!m_overlay.next())
            return false;
        dragTheTestArea();
        return true;
    }

    bool recording() { return m_tray.toolTip().startsWith(QLatin1String("Recording")); }

    // Whether another program can take Escape now: Qorvel holds it only while it records.
    bool escapeFree()
    {
        xcb_connection_t *c = m_other->get();
        xcb_generic_error_t *error = xcb_request_check(
            c, xcb_grab_key_checked(c, 1, m_other->root(), 0, escapeKey, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        if (!error)
            xcb_ungrab_key(c, escapeKey, m_other->root(), 0);
        xcb_flush(c);
        std::free(error);
        return !error;
    }

private Q_SLOTS:
    void initTestCase()
    {
        Result<std::shared_ptr<X11Connection>> other = X11Connection::open();
        QVERIFY(other);
        m_other = *other;
        QDir().mkpath(QDir::home().filePath(QStringLiteral(".config/qorvel")));
        setCountdown(false);
        startQorvel();
    }

    void cleanupTestCase()
    {
        m_qorvel.terminate();
        QVERIFY(m_qorvel.waitForFinished(10'000));
    }

    // The dragged area and nothing else: the dashed frame is on the screen around it, never in
    // the file; Escape belongs to other programs before and after.
    void recordsTheDraggedAreaWithoutItsFrame()
    {
        QVERIFY(escapeFree());
        QVERIFY(dragArea());
        QTRY_VERIFY_WITH_TIMEOUT(recording(), 10'000);
        QVERIFY(!escapeFree());
        QVERIFY(redPixelsOnScreen(QRect(294, 194, 312, 162)) > 100);
        QTRY_VERIFY_WITH_TIMEOUT(m_tray.toolTip().startsWith(QLatin1String("Recording 0:02")), 10'000);
        QTest::qWait(1000);
        xdotool("key shift+alt+5");

        QTRY_COMPARE_WITH_TIMEOUT(notificationsTitled(QStringLiteral("Recording saved")), 1, 30'000);
        QTRY_VERIFY(escapeFree());
        QCOMPARE(m_tray.toolTip(), QStringLiteral("Qorvel"));
        QCOMPARE(recordings().size(), 1);
        const QString file = desktopFolder().filePath(recordings().constLast());
        QCOMPARE(probed(file, QStringLiteral("stream=codec_name,width,height")), QStringLiteral("h264 300 150"));
        const double duration = probed(file, QStringLiteral("format=duration")).toDouble();
        QVERIFY2(duration > 2.5 && duration < 6, qPrintable(QString::number(duration)));
        QCOMPARE(redPixelsInFile(file), 0);
        QVERIFY(lastNotify().at(6).toObject().contains(QLatin1String("image-path"))); // the first frame
        QVERIFY(unfinished().isEmpty());
    }

    // Escape during the countdown cancels: no file, no notification, Escape given back.
    void escapeDuringTheCountdownLeavesNothing()
    {
        setCountdown(true);
        const int notes = int(monitoredMessages().size());
        QVERIFY(dragArea());
        QTRY_VERIFY_WITH_TIMEOUT(!escapeFree(), 10'000);
        QTest::qWait(800);
        xdotool("key Escape");
        QTRY_VERIFY(escapeFree());
        QTest::qWait(3000);
        QVERIFY(!recording());
        QCOMPARE(recordings().size(), 1);
        QVERIFY(unfinished().isEmpty());
        QCOMPARE(monitoredMessages().size(), notes);
        setCountdown(false);
    }

    // A window closed mid-way ends its recording, and what was recorded is delivered.
    void aClosedWindowDeliversWhatWasRecorded()
    {
        QProcess xterm;
        xterm.start(QStringLiteral("xterm"), words("-geometry 60x20+900+300 -e") << QStringLiteral("top -d 0.3"));
        QVERIFY(xterm.waitForStarted());
        QTest::qWait(1500);
        xdotool("mousemove 1050 450");
        xdotool("key shift+alt+5");
        QVERIFY(m_overlay.next());
        xdotool("click 1");
        QTRY_VERIFY_WITH_TIMEOUT(recording(), 10'000);
        QTest::qWait(2000);
        xterm.kill();
        QTRY_COMPARE_WITH_TIMEOUT(notificationsTitled(QStringLiteral("Recording saved")), 2, 30'000);
        QCOMPARE(recordings().size(), 2);
        const double duration
            = probed(desktopFolder().filePath(recordings().constLast()), QStringLiteral("format=duration")).toDouble();
        QVERIFY2(duration > 1.5, qPrintable(QString::number(duration)));
        QTRY_VERIFY(escapeFree());
    }

    // Last: the recording of a killed Qorvel is finished and delivered at its next start, once,
    // playable up to about a second before the kill.
    void aKilledRecordingIsRecoveredAtTheNextStart()
    {
        QVERIFY(dragArea());
        QTRY_VERIFY_WITH_TIMEOUT(m_tray.toolTip().startsWith(QLatin1String("Recording 0:02")), 10'000);
        ::kill(pid_t(m_qorvel.processId()), SIGKILL);
        QVERIFY(m_qorvel.waitForFinished(10'000));
        QCOMPARE(unfinished().size(), 1);

        startQorvel();
        QTRY_COMPARE_WITH_TIMEOUT(notificationsTitled(QStringLiteral("Recording saved")), 3, 30'000);
        QCOMPARE(recordings().size(), 3);
        QVERIFY(unfinished().isEmpty());
        const QString file = desktopFolder().filePath(recordings().constLast());
        QCOMPARE(probed(file, QStringLiteral("stream=codec_name,width,height")), QStringLiteral("h264 300 150"));
        QVERIFY(probed(file, QStringLiteral("format=duration")).toDouble() > 1);
    }
};

QTEST_GUILESS_MAIN(tst_TrayRecording)
#include "tst_TrayRecording.moc"
