#include "QorvelCommand.h"
#include "SessionTools.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QRasterWindow>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>

// `qorvel record` against a real X server, recording a window of this test whose content
// changes on a known schedule; the files are read back with ffprobe and ffmpeg.
namespace {

class ScheduleWindow : public QRasterWindow
{
public:
    QColor colour = Qt::white;

protected:
    void paintEvent(QPaintEvent *) override { QPainter(this).fillRect(QRect(QPoint(0, 0), size()), colour); }
};

qint64 summaryCount(const QString &errors, const char *what)
{
    const QRegularExpression count(QStringLiteral("(\\d+) ") + QLatin1String(what));
    return count.match(errors).captured(1).toLongLong();
}

} // namespace

class tst_RecordCommand : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    ScheduleWindow m_window;
    QRect m_area; // the window's content, in root pixels

    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("config")));
        environment.insert(QStringLiteral("XDG_CACHE_HOME"), m_dir.filePath(QStringLiteral("cache")));
        return environment;
    }

    // Records the window's content into `file`; `options` go before the -o.
    void startRecording(QProcess &qorvel, const QString &file, const QStringList &options = {})
    {
        const QString area
            = QStringLiteral("%1,%2,%3,%4").arg(m_area.x()).arg(m_area.y()).arg(m_area.width()).arg(m_area.height());
        qorvel.setProcessEnvironment(environment());
        qorvel.start(QStringLiteral(QORVEL_EXECUTABLE),
            words("record --area") << area << options << QStringLiteral("-o") << file);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_window.setFlag(Qt::FramelessWindowHint);
        m_window.setGeometry(200, 200, 320, 180);
        m_window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&m_window));
        m_area = QRect(m_window.mapToGlobal(QPoint(0, 0)), m_window.size());
        xdotool("mousemove 5 5");
    }

    // Ten changes in the first second, then nothing: the changes are written, the still part
    // is idle, and the file still lasts until the stop.
    void writesChangesAndSkipsTheStillScreen()
    {
        const QString file = m_dir.filePath(QStringLiteral("schedule.mp4"));
        QProcess qorvel;
        startRecording(qorvel, file, words("--duration 3"));
        QTest::qWait(400);
        for (int change = 0; change < 10; ++change) {
            m_window.colour = QColor::fromHsv(change * 36, 255, 255);
            m_window.update();
            QTest::qWait(100);
        }
        QVERIFY(qorvel.waitForFinished(30000));
        const QString errors = QString::fromUtf8(qorvel.readAllStandardError());
        QVERIFY2(qorvel.exitCode() == 0, qPrintable(errors));
        QCOMPARE(QString::fromUtf8(qorvel.readAllStandardOutput()).trimmed(), file);

        const qint64 written = summaryCount(errors, "frames written");
        QVERIFY2(written >= 5 && written <= 25, qPrintable(errors));
        QVERIFY2(summaryCount(errors, "idle") >= 50, qPrintable(errors));
        const double duration = probed(file, QStringLiteral("format=duration")).toDouble();
        QVERIFY2(duration > 2.9 && duration < 3.3, qPrintable(QString::number(duration)));
        QCOMPARE(probed(file, QStringLiteral("stream=codec_name,profile,width,height")),
            QStringLiteral("h264 High %1 %2").arg(m_area.width()).arg(m_area.height()));
    }

    void thePointerOnlyWhenAsked_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<bool>("shown");
        QTest::newRow("--cursor") << QStringLiteral("--cursor") << true;
        QTest::newRow("--no-cursor") << QStringLiteral("--no-cursor") << false;
    }
    void thePointerOnlyWhenAsked()
    {
        QFETCH(QString, option);
        QFETCH(bool, shown);
        m_window.colour = Qt::white;
        m_window.update();
        const QPoint centre = m_area.center();
        xdotool(QStringLiteral("mousemove %1 %2").arg(centre.x()).arg(centre.y()));
        QTest::qWait(300);
        const QString file = m_dir.filePath(option.mid(2) + QStringLiteral(".mp4"));
        QProcess qorvel;
        startRecording(qorvel, file, QStringList{option} + words("--duration 0.5"));
        const bool finished = qorvel.waitForFinished(60'000);
        xdotool("mousemove 5 5");
        QVERIFY2(finished && qorvel.exitCode() == 0, qorvel.readAllStandardError().constData());

        const QString picture = file + QStringLiteral(".png");
        const QorvelRun ffmpeg
            = runProgram(QStringLiteral("ffmpeg"), words("-v error -i") << file << words("-frames:v 1") << picture);
        QVERIFY2(ffmpeg.exitCode == 0, qPrintable(ffmpeg.errors));
        const QImage image(picture);
        int dark = 0;
        const QPoint at = centre - m_area.topLeft();
        for (int y = at.y() - 2; y < at.y() + 16; ++y) {
            for (int x = at.x() - 2; x < at.x() + 16; ++x)
                dark += qGray(image.pixel(x, y)) < 96 ? 1 : 0;
        }
        QCOMPARE(dark > 0, shown);
    }

    // SIGTERM finishes the named file, up to the signal. (What SIGKILL leaves behind, and how it
    // is recovered, is tst_TrayRecording's.)
    void aSigtermFinishesTheFile()
    {
        const QString file = m_dir.filePath(QStringLiteral("signalled.mp4"));
        const QDir staging(m_dir.filePath(QStringLiteral("cache/com.vostrink.qorvel/Recordings")));
        QTimer changes;
        connect(&changes, &QTimer::timeout, this, [this] {
            m_window.colour = QColor::fromHsv((m_window.colour.hue() + 40) % 360, 255, 255);
            m_window.update();
        });
        changes.start(50);
        QProcess qorvel;
        startRecording(qorvel, file);
        // Three seconds from the first frame, which creates the working file.
        QTRY_VERIFY_WITH_TIMEOUT(!staging.entryList({QStringLiteral("recording-*")}).isEmpty(), 10000);
        QTest::qWait(3000);
        ::kill(pid_t(qorvel.processId()), SIGTERM);
        QVERIFY(qorvel.waitForFinished(30000));
        changes.stop();
        QVERIFY2(qorvel.exitCode() == 0, qorvel.readAllStandardError().constData());
        const double last
            = probed(file, QStringLiteral("frame=pts_time"), words("-select_streams v")).section(u' ', -1).toDouble();
        QVERIFY2(last >= 2.0, qPrintable(QString::number(last)));
        QVERIFY(staging.entryList({QStringLiteral("recording-*")}).isEmpty());
    }

    // Split into two monitors, the right one recorded and then removed: the recording ends by
    // itself, says why and keeps its file.
    void aDisplayThatGoesEndsTheRecording()
    {
        const auto xrandr
            = [](const char *arguments) { return QProcess::execute(QStringLiteral("xrandr"), words(arguments)); };
        QCOMPARE(xrandr("--setmonitor RIGHT 960/254x1080/286+960+0 none"), 0);
        QCOMPARE(xrandr("--setmonitor LEFT 960/254x1080/286+0+0 screen"), 0);
        const QorvelRun displays = runQorvel(words("displays"), {}, environment());
        const QStringList lines = displays.text().split(u'\n').filter(QStringLiteral("\tRIGHT"));
        QCOMPARE(lines.size(), 1);
        const QString file = m_dir.filePath(QStringLiteral("unplugged.mp4"));
        QProcess qorvel;
        qorvel.setProcessEnvironment(environment());
        qorvel.start(QStringLiteral(QORVEL_EXECUTABLE),
            words("record --display") << lines.first().section(u'\t', 0, 0) << QStringLiteral("-o") << file);
        QTest::qWait(1500);
        QCOMPARE(xrandr("--delmonitor RIGHT"), 0);
        const bool ended = qorvel.waitForFinished(10000);
        xrandr("--delmonitor LEFT");
        QVERIFY2(ended, "still recording");
        QVERIFY(QString::fromUtf8(qorvel.readAllStandardError())
                    .contains(QStringLiteral("The display or window being recorded no longer exists.")));
        QVERIFY(QFile::exists(file));
    }

    void failuresSayWhy_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("window gone") << words("record --window 0x7fffff0")
                                     << QStringLiteral("The display or window being recorded no longer exists.");
        QTest::newRow("file taken") << (words("record -o") << m_dir.path()) << QStringLiteral("already exists");
    }
    void failuresSayWhy()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const QorvelRun run = runQorvel(arguments, {}, environment());
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.errors.contains(message), qPrintable(run.errors));
    }
};

QTEST_MAIN(tst_RecordCommand)
#include "tst_RecordCommand.moc"
