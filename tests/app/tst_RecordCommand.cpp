#include "QorvelCommand.h"

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

QString probed(const QString &file, const QString &entries, const QStringList &extra = {})
{
    QProcess ffprobe;
    ffprobe.start(QStringLiteral("ffprobe"),
        QStringList{QStringLiteral("-v"), QStringLiteral("error")} + extra
            + QStringList{QStringLiteral("-show_entries"), entries, QStringLiteral("-of"),
                QStringLiteral("default=nw=1:nk=1"), file});
    ffprobe.waitForFinished(60000);
    return QString::fromUtf8(ffprobe.readAllStandardOutput()).trimmed();
}

// The time of the last picture a decoder gets out of the file.
double lastPictureTime(const QString &file)
{
    const QStringList times
        = probed(file, QStringLiteral("frame=pts_time"), {QStringLiteral("-select_streams"), QStringLiteral("v")})
              .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    return times.isEmpty() ? -1 : times.last().toDouble();
}

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

    QStringList areaArguments() const
    {
        return {QStringLiteral("record"), QStringLiteral("--area"),
            QStringLiteral("%1,%2,%3,%4").arg(m_area.x()).arg(m_area.y()).arg(m_area.width()).arg(m_area.height())};
    }

    QString recordingsFolder() const { return m_dir.filePath(QStringLiteral("cache/com.vostrink.qorvel/Recordings")); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_window.setFlag(Qt::FramelessWindowHint);
        m_window.setGeometry(200, 200, 320, 180);
        m_window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&m_window));
        m_area = QRect(m_window.mapToGlobal(QPoint(0, 0)), m_window.size());
        QProcess::execute(
            QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QStringLiteral("5"), QStringLiteral("5")});
    }

    // Ten changes in the first second, then nothing: the changes are written, the still part
    // is idle, and the file still lasts until the stop.
    void writesChangesAndSkipsTheStillScreen()
    {
        const QString file = m_dir.filePath(QStringLiteral("schedule.mp4"));
        QProcess qorvel;
        qorvel.setProcessEnvironment(environment());
        qorvel.start(QStringLiteral(QORVEL_EXECUTABLE),
            areaArguments()
                + QStringList{QStringLiteral("--duration"), QStringLiteral("3"), QStringLiteral("-o"), file});
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
            QStringLiteral("h264\nHigh\n%1\n%2").arg(m_area.width()).arg(m_area.height()));
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
        QProcess::execute(QStringLiteral("xdotool"),
            {QStringLiteral("mousemove"), QString::number(centre.x()), QString::number(centre.y())});
        QTest::qWait(300);
        const QString file = m_dir.filePath(option.mid(2) + QStringLiteral(".mp4"));
        const QorvelRun run = runQorvel(areaArguments()
                + QStringList{option, QStringLiteral("--duration"), QStringLiteral("0.5"), QStringLiteral("-o"), file},
            {}, environment());
        QProcess::execute(
            QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QStringLiteral("5"), QStringLiteral("5")});
        QVERIFY2(run.exitCode == 0, qPrintable(run.errors));

        const QString picture = file + QStringLiteral(".png");
        QCOMPARE(QProcess::execute(QStringLiteral("ffmpeg"),
                     {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), file,
                         QStringLiteral("-frames:v"), QStringLiteral("1"), picture}),
            0);
        const QImage image(picture);
        int dark = 0;
        const QPoint at = centre - m_area.topLeft();
        for (int y = at.y() - 2; y < at.y() + 16; ++y) {
            for (int x = at.x() - 2; x < at.x() + 16; ++x)
                dark += qGray(image.pixel(x, y)) < 96 ? 1 : 0;
        }
        QCOMPARE(dark > 0, shown);
    }

    // SIGTERM finishes the named file; SIGKILL leaves the working file in the staging folder,
    // playable up to about a second before the kill.
    void endsByASignal_data()
    {
        QTest::addColumn<int>("signalNumber");
        QTest::newRow("SIGTERM") << int(SIGTERM);
        QTest::newRow("SIGKILL") << int(SIGKILL);
    }
    void endsByASignal()
    {
        QFETCH(int, signalNumber);
        QDir(recordingsFolder()).removeRecursively();
        const QString file = m_dir.filePath(QStringLiteral("signal-%1.mp4").arg(signalNumber));
        QTimer changes;
        connect(&changes, &QTimer::timeout, this, [this] {
            m_window.colour = QColor::fromHsv((m_window.colour.hue() + 40) % 360, 255, 255);
            m_window.update();
        });
        changes.start(50);
        QProcess qorvel;
        qorvel.setProcessEnvironment(environment());
        qorvel.start(QStringLiteral(QORVEL_EXECUTABLE), areaArguments() + QStringList{QStringLiteral("-o"), file});
        // Three seconds from the first frame, which creates the file.
        QTRY_VERIFY_WITH_TIMEOUT(!QDir(recordingsFolder()).entryList({QStringLiteral("recording-*")}).isEmpty(), 10000);
        QTest::qWait(3000);
        ::kill(pid_t(qorvel.processId()), signalNumber);
        QVERIFY(qorvel.waitForFinished(30000));
        changes.stop();

        if (signalNumber == SIGTERM) {
            QVERIFY2(qorvel.exitCode() == 0, qorvel.readAllStandardError().constData());
            QVERIFY(lastPictureTime(file) >= 2.0);
            return;
        }
        const QStringList left = QDir(recordingsFolder()).entryList({QStringLiteral("recording-*.mp4")});
        QCOMPARE(left.size(), 1);
        QVERIFY(!QFile::exists(file));
        const double last = lastPictureTime(QDir(recordingsFolder()).filePath(left.first()));
        QVERIFY2(last >= 2.0, qPrintable(QString::number(last)));
    }

    // Split into two monitors, the right one recorded and then removed: the recording ends by
    // itself, says why and keeps its file.
    void aDisplayThatGoesEndsTheRecording()
    {
        auto xrandr = [](const QString &arguments) {
            return QProcess::execute(QStringLiteral("xrandr"), arguments.split(u' '));
        };
        QCOMPARE(xrandr(QStringLiteral("--setmonitor RIGHT 960/254x1080/286+960+0 none")), 0);
        QCOMPARE(xrandr(QStringLiteral("--setmonitor LEFT 960/254x1080/286+0+0 screen")), 0);
        const QorvelRun displays = runQorvel({QStringLiteral("displays")}, {}, environment());
        const QStringList lines = displays.text().split(u'\n').filter(QStringLiteral("\tRIGHT"));
        QCOMPARE(lines.size(), 1);
        const QString right = lines.first().section(u'\t', 0, 0);
        const QString file = m_dir.filePath(QStringLiteral("unplugged.mp4"));
        QProcess qorvel;
        qorvel.setProcessEnvironment(environment());
        qorvel.start(QStringLiteral(QORVEL_EXECUTABLE),
            {QStringLiteral("record"), QStringLiteral("--display"), right, QStringLiteral("-o"), file});
        QTest::qWait(1500);
        QCOMPARE(xrandr(QStringLiteral("--delmonitor RIGHT")), 0);
        const bool ended = qorvel.waitForFinished(10000);
        xrandr(QStringLiteral("--delmonitor LEFT"));
        QVERIFY2(ended, "still recording");
        QVERIFY(QString::fromUtf8(qorvel.readAllStandardError())
                    .contains(QStringLiteral("The display or window being recorded no longer exists.")));
        QVERIFY(QFile::exists(file));
    }

    void failuresSayWhy_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("window gone") << QStringList{QStringLiteral("record"), QStringLiteral("--window"),
            QStringLiteral("0x7fffff0")}
                                     << QStringLiteral("The display or window being recorded no longer exists.");
        QTest::newRow("file taken") << QStringList{QStringLiteral("record"), QStringLiteral("-o"), m_dir.path()}
                                    << QStringLiteral("already exists");
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
