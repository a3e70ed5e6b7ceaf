#include "SessionTools.h"
#include "TrayMenu.h"
#include "X11Connection.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTest>

#include <xcb/xcb.h>

#include <csignal>

// Recording from the running tray application end to end: the shortcut pressed with xdotool, a
// drag in the overlay, the frame on the screen, the elapsed time in the tray's tool tip, the file
// in the folder read back with ffprobe and ffmpeg, and the notification in dunst.
namespace {

constexpr xcb_keycode_t escapeKey = 9;

QDir desktop()
{
    return QDir(QDir::home().filePath(QStringLiteral("Desktop")));
}

QStringList recordings()
{
    return desktop().entryList({QStringLiteral("*.mp4")}, QDir::Files, QDir::Time | QDir::Reversed);
}

QStringList unfinished()
{
    return QDir(QDir::home().filePath(QStringLiteral(".cache/com.vostrink.qorvel/Recordings")))
        .entryList({QStringLiteral("recording-*")}, QDir::Files);
}

int notificationsTitled(const QString &summary)
{
    int count = 0;
    for (const QJsonObject &message : monitoredMessages()) {
        const QJsonArray data = message[QLatin1String("payload")].toObject()[QLatin1String("data")].toArray();
        if (message[QLatin1String("member")].toString() == QLatin1String("Notify") && data.at(3).toString() == summary)
            ++count;
    }
    return count;
}

QString probed(const QString &file, const QString &entries)
{
    QProcess ffprobe;
    ffprobe.start(QStringLiteral("ffprobe"),
        {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-of"), QStringLiteral("default=nw=1:nk=1"),
            QStringLiteral("-show_entries"), entries, file});
    ffprobe.waitForFinished(60'000);
    return QString::fromUtf8(ffprobe.readAllStandardOutput()).trimmed().replace(QLatin1Char('\n'), QLatin1Char(' '));
}

bool isFrameRed(const uchar *rgb)
{
    return rgb[0] > 160 && rgb[1] < 90 && rgb[2] < 90;
}

// Pixels of the frame's red in every decoded picture of the file.
qint64 redPixelsInFile(const QString &file)
{
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"),
        {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), file, QStringLiteral("-f"),
            QStringLiteral("rawvideo"), QStringLiteral("-pix_fmt"), QStringLiteral("rgb24"), QStringLiteral("-")});
    ffmpeg.waitForFinished(60'000);
    const QByteArray pixels = ffmpeg.readAllStandardOutput();
    qint64 red = 0;
    for (qsizetype i = 0; i + 2 < pixels.size(); i += 3)
        red += isFrameRed(reinterpret_cast<const uchar *>(pixels.constData() + i)) ? 1 : 0;
    return pixels.isEmpty() ? -1 : red;
}

qint64 redPixelsOnScreen(const QRect &pixels)
{
    const QImage shown = screenRegion(pixels, QDir::homePath()).convertToFormat(QImage::Format_RGB888);
    qint64 red = 0;
    for (int y = 0; y < shown.height(); ++y) {
        for (int x = 0; x < shown.width(); ++x)
            red += isFrameRed(shown.constScanLine(y) + qsizetype(x) * 3) ? 1 : 0;
    }
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
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("qorvel.overlay.timing=true"));
        m_qorvel.setProcessEnvironment(environment);
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
        xdotool(QStringLiteral("mousemove 300 200"));
        xdotool(QStringLiteral("key shift+alt+5"));
        if (!m_overlay.next())
            return false;
        for (const QString &step : {QStringLiteral("mousedown 1"), QStringLiteral("mousemove 400 250"),
                 QStringLiteral("mousemove 600 350"), QStringLiteral("mouseup 1")}) {
            xdotool(step);
            QTest::qWait(100);
        }
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
        xdotool(QStringLiteral("key shift+alt+5"));

        QTRY_COMPARE_WITH_TIMEOUT(notificationsTitled(QStringLiteral("Recording saved")), 1, 30'000);
        QTRY_VERIFY(escapeFree());
        QCOMPARE(m_tray.toolTip(), QStringLiteral("Qorvel"));
        QCOMPARE(recordings().size(), 1);
        const QString file = desktop().filePath(recordings().constLast());
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
        xdotool(QStringLiteral("key Escape"));
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
        xterm.start(QStringLiteral("xterm"),
            {QStringLiteral("-geometry"), QStringLiteral("60x20+900+300"), QStringLiteral("-e"),
                QStringLiteral("top -d 0.3")});
        QVERIFY(xterm.waitForStarted());
        QTest::qWait(1500);
        xdotool(QStringLiteral("mousemove 1050 450"));
        xdotool(QStringLiteral("key shift+alt+5"));
        QVERIFY(m_overlay.next());
        xdotool(QStringLiteral("click 1"));
        QTRY_VERIFY_WITH_TIMEOUT(recording(), 10'000);
        QTest::qWait(2000);
        xterm.kill();
        QTRY_COMPARE_WITH_TIMEOUT(notificationsTitled(QStringLiteral("Recording saved")), 2, 30'000);
        QCOMPARE(recordings().size(), 2);
        const double duration
            = probed(desktop().filePath(recordings().constLast()), QStringLiteral("format=duration")).toDouble();
        QVERIFY2(duration > 1.5, qPrintable(QString::number(duration)));
        QTRY_VERIFY(escapeFree());
    }

    // Last: the recording of a killed Qorvel is finished and delivered at its next start, once.
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
        const QString file = desktop().filePath(recordings().constLast());
        QCOMPARE(probed(file, QStringLiteral("stream=codec_name,width,height")), QStringLiteral("h264 300 150"));
        QVERIFY(probed(file, QStringLiteral("format=duration")).toDouble() > 1);
    }
};

QTEST_GUILESS_MAIN(tst_TrayRecording)
#include "tst_TrayRecording.moc"
