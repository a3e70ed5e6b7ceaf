#include "MediaVideoWriterFactory.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/statvfs.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

// Frames are generated, the files read back with ffprobe: what a player would see.
namespace {

using namespace std::chrono_literals;

Bitmap frameOf(QSize size, int shade)
{
    Bitmap bitmap = Bitmap::allocate(size);
    for (int y = 0; y < size.height(); ++y)
        std::memset(bitmap.bits() + y * bitmap.bytesPerLine(), (shade + y) & 0xff, size_t(bitmap.bytesPerLine()));
    return bitmap;
}

QJsonObject probe(const QString &path, const QStringList &extra = {})
{
    QProcess ffprobe;
    ffprobe.start(QStringLiteral("ffprobe"),
        QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-of"), QStringLiteral("json"),
            QStringLiteral("-show_streams"), QStringLiteral("-show_format")}
            + extra + QStringList{path});
    ffprobe.waitForFinished(30000);
    return QJsonDocument::fromJson(ffprobe.readAllStandardOutput()).object();
}

Bitmap noise(QSize size, std::mt19937 &random)
{
    Bitmap bitmap = Bitmap::allocate(size);
    for (int y = 0; y < size.height(); ++y) {
        auto *row = reinterpret_cast<quint32 *>(bitmap.bits() + y * bitmap.bytesPerLine());
        for (int x = 0; x < size.width(); ++x)
            row[x] = random();
    }
    return bitmap;
}

// Fills the disk at `folder` until `leave` bytes are free (0: until a write fails).
void fillDisk(const QString &folder, qint64 leave)
{
    const int fd = ::open(QFile::encodeName(folder + QStringLiteral("/filler")).constData(), O_WRONLY | O_CREAT, 0600);
    const QByteArray chunk(4096, 'f');
    for (;;) {
        struct statvfs fs = {};
        ::fstatvfs(fd, &fs);
        if (qint64(fs.f_bavail) * qint64(fs.f_frsize) <= leave
            || ::write(fd, chunk.constData(), size_t(chunk.size())) <= 0)
            break;
    }
    ::close(fd);
}

bool ownTmpfs(const QString &disk, const char *size)
{
    const QByteArray uid = QByteArray::number(::getuid()), gid = QByteArray::number(::getgid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    auto put = [](const char *file, const QByteArray &text) {
        QFile out(QString::fromLatin1(file));
        return out.open(QIODevice::WriteOnly) && out.write(text) == text.size();
    };
    put("/proc/self/setgroups", "deny");
    put("/proc/self/uid_map", uid + ' ' + uid + " 1");
    put("/proc/self/gid_map", gid + ' ' + gid + " 1");
    return ::mount("tmpfs", QFile::encodeName(disk).constData(), "tmpfs", 0, size) == 0;
}

VideoEncodingPlan planOf(qint64 width, qint64 height, VideoCodec codec)
{
    return VideoEncodingPlan{width, height, 0.5, 2'500'000, codec};
}

} // namespace

class tst_VideoFileWriter : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    // Any moment: the file's time line starts at its first frame.
    const RecordingClock::time_point m_start = RecordingClock::now() + 3600s;

    QString path(const char *name) const { return m_dir.filePath(QString::fromLatin1(name)); }

    std::unique_ptr<VideoFileWriter> open(const QString &file, const VideoEncodingPlan &plan)
    {
        Result<std::unique_ptr<VideoFileWriter>> writer = MediaVideoWriterFactory::open(file, plan);
        if (!writer)
            qWarning() << writer.error().message << writer.error().detail;
        return writer ? std::move(writer).value() : nullptr;
    }

    void appendFrames(VideoFileWriter &writer, QSize size, int count, std::chrono::milliseconds step = 33ms)
    {
        for (int i = 0; i < count; ++i)
            writer.append(VideoFrame{frameOf(size, i), m_start + i * step, VideoFrame::Status::complete});
    }

private Q_SLOTS:
    void writesWhatPlayersExpect_data()
    {
        QTest::addColumn<VideoCodec>("codec");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("profile");
        QTest::newRow("h264") << VideoCodec::h264 << QStringLiteral("h264") << QStringLiteral("High");
        QTest::newRow("hevc") << VideoCodec::hevc << QStringLiteral("hevc") << QStringLiteral("Main");
    }
    void writesWhatPlayersExpect()
    {
        QFETCH(VideoCodec, codec);
        QFETCH(QString, name);
        QFETCH(QString, profile);
        const QString file = path("plain.mp4");
        QFile::remove(file);
        QVERIFY(QFile(file).open(QIODevice::WriteOnly)); // a file of that name is replaced
        // Grabbed larger than the plan: the writer scales down.
        std::unique_ptr<VideoFileWriter> writer = open(file, planOf(320, 180, codec));
        QVERIFY(writer);
        appendFrames(*writer, QSize(640, 360), 30);
        // Stopped two seconds after the first frame: the last frame stays until then.
        Result<QString> finished = writer->finish(m_start + 2s);
        QVERIFY2(finished, qPrintable(finished ? QString() : finished.error().message));
        QCOMPARE(*finished, file);
        QCOMPARE(writer->framesWritten(), 30);

        const QJsonObject info = probe(file);
        const QJsonObject stream = info[QLatin1String("streams")].toArray().at(0).toObject();
        QCOMPARE(stream[QLatin1String("codec_name")].toString(), name);
        QCOMPARE(stream[QLatin1String("profile")].toString(), profile);
        QCOMPARE(stream[QLatin1String("width")].toInt(), 320);
        QCOMPARE(stream[QLatin1String("height")].toInt(), 180);
        QCOMPARE(stream[QLatin1String("pix_fmt")].toString(), QStringLiteral("yuv420p"));
        QCOMPARE(stream[QLatin1String("color_range")].toString(), QStringLiteral("tv"));
        for (const char *key : {"color_space", "color_transfer", "color_primaries"})
            QCOMPARE(stream[QLatin1String(key)].toString(), QStringLiteral("bt709"));
        const QJsonObject format = info[QLatin1String("format")].toObject();
        QCOMPARE(format[QLatin1String("start_time")].toString().toDouble(), 0.0);
        QVERIFY2(std::abs(format[QLatin1String("duration")].toString().toDouble() - 2.0) < 0.05,
            qPrintable(format[QLatin1String("duration")].toString()));

        QFile read(file);
        QVERIFY(read.open(QIODevice::ReadOnly));
        const QByteArray bytes = read.readAll();
        QVERIFY2(bytes.indexOf("moov") < bytes.indexOf("mdat"), "the index comes before the media");
        QCOMPARE(bytes.indexOf("moof"), -1); // no longer fragmented
    }

    void endsAtTheLastFrameWhenTheStopIsEarlier()
    {
        const QString file = path("skew.mp4");
        std::unique_ptr<VideoFileWriter> writer = open(file, planOf(64, 64, VideoCodec::h264));
        QVERIFY(writer);
        appendFrames(*writer, QSize(64, 64), 30, 100ms); // the last frame at 2.9 s
        QVERIFY(writer->finish(m_start + 1s));
        const double duration
            = probe(file)[QLatin1String("format")].toObject()[QLatin1String("duration")].toString().toDouble();
        QVERIFY2(duration >= 2.9 && duration < 3.0, qPrintable(QString::number(duration)));
    }

    void keyFramesAtMostTenSecondsApart()
    {
        const QString file = path("gop.mp4");
        std::unique_ptr<VideoFileWriter> writer = open(file, planOf(64, 64, VideoCodec::h264));
        QVERIFY(writer);
        appendFrames(*writer, QSize(64, 64), 330);
        QVERIFY(writer->finish(std::nullopt));
        QProcess ffprobe;
        ffprobe.start(QStringLiteral("ffprobe"),
            {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-select_streams"), QStringLiteral("v"),
                QStringLiteral("-show_entries"), QStringLiteral("frame=key_frame"), QStringLiteral("-of"),
                QStringLiteral("csv=p=0"), file});
        QVERIFY(ffprobe.waitForFinished(30000));
        const QList<QByteArray> keys = ffprobe.readAllStandardOutput().trimmed().split('\n');
        QCOMPARE(keys.size(), 331); // the last picture once more, at the stop
        QVERIFY(keys.value(0).startsWith("1"));
        qsizetype last = 0;
        for (qsizetype i = 1; i < keys.size(); ++i) {
            if (keys.at(i).startsWith("1")) {
                QVERIFY(i - last <= 300);
                last = i;
            }
        }
        QVERIFY(keys.size() - last <= 300);
    }

    void aRecordingWithoutFramesLeavesNothing()
    {
        const QString file = path("empty.mp4");
        std::unique_ptr<VideoFileWriter> writer = open(file, planOf(64, 64, VideoCodec::h264));
        QVERIFY(writer);
        const Result<QString> finished = writer->finish(m_start);
        QVERIFY(!finished);
        QCOMPARE(finished.error().message, QStringLiteral("The recording contains no frames."));
        QVERIFY(!QFile::exists(file));
    }

    void cancellingRemovesTheFile()
    {
        const QString file = path("cancelled.mp4");
        std::unique_ptr<VideoFileWriter> writer = open(file, planOf(64, 64, VideoCodec::h264));
        QVERIFY(writer);
        appendFrames(*writer, QSize(64, 64), 60);
        QVERIFY(QFile::exists(file));
        writer->cancel();
        QVERIFY(!QFile::exists(file));
    }

    // On a real small disk: a tmpfs that a child process mounts in namespaces of its own. The
    // child reports through a pipe; what it wrote is copied out for ffprobe.
    void onASmallDisk_data()
    {
        QTest::addColumn<QByteArray>("diskSize");
        QTest::addColumn<qint64>("leaveFree"); // after the first frames; -1: nothing is filled
        QTest::addColumn<QString>("stopReason"); // what the writer says before the end
        QTest::addColumn<QString>("finished"); // finish()'s error; none: the file is done
        QTest::newRow("no room to start")
            << QByteArray("size=32m") << qint64(-1) << QString() << QStringLiteral("there is not enough free space");
        QTest::newRow("almost full") << QByteArray("size=90m") << qint64(20'000'000)
                                     << QStringLiteral("The disk is almost full") << QString();
        QTest::newRow("full") << QByteArray("size=90m") << qint64(0)
                              << QStringLiteral("Couldn't write the video: No space left on device")
                              << QStringLiteral("No space left on device");
    }
    void onASmallDisk()
    {
        QFETCH(QByteArray, diskSize);
        QFETCH(qint64, leaveFree);
        QFETCH(QString, stopReason);
        QFETCH(QString, finished);
        const QString disk = m_dir.filePath(QString::fromLatin1(QTest::currentDataTag()).replace(u' ', u'-'));
        const QString kept = disk + QStringLiteral(".kept.mp4");
        QVERIFY(QDir().mkpath(disk));
        int answer[2];
        QCOMPARE(::pipe(answer), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            QByteArray report = "no namespace or tmpfs";
            if (ownTmpfs(disk, diskSize.constData())) {
                const QString file = disk + QStringLiteral("/recording.mp4");
                Result<std::unique_ptr<VideoFileWriter>> writer
                    = MediaVideoWriterFactory::open(file, planOf(64, 64, VideoCodec::h264));
                if (!writer) {
                    report = "|" + writer.error().message.toUtf8();
                } else {
                    std::mt19937 random(7);
                    const auto start = RecordingClock::now();
                    int frame = 0;
                    auto offer = [&] {
                        (*writer)->append(VideoFrame{noise(QSize(64, 64), random), start + frame++ * 33ms, {}});
                    };
                    while (frame < 60)
                        offer();
                    fillDisk(disk, leaveFree);
                    // The free space is looked at once a second.
                    while (!(*writer)->stopReason() && RecordingClock::now() - start < 3s) {
                        offer();
                        std::this_thread::sleep_for(20ms);
                    }
                    report = (*writer)->stopReason().value_or(Error{}).message.toUtf8() + '|';
                    QFile::remove(disk + QStringLiteral("/filler"));
                    const Result<QString> done = (*writer)->finish(std::nullopt);
                    report += done ? QByteArray() : done.error().message.toUtf8();
                    QFile::copy(file, kept);
                }
            }
            ::_exit(::write(answer[1], report.constData(), size_t(report.size())) == report.size() ? 0 : 1);
        }
        ::close(answer[1]);
        QFile pipe;
        QVERIFY(pipe.open(answer[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
        const QString report = QString::fromUtf8(pipe.readAll());
        QCOMPARE(::waitpid(child, nullptr, 0), child);
        const QString said = report.section(u'|', 0, 0), ended = report.section(u'|', 1);
        QVERIFY2(said.startsWith(stopReason) && ended.contains(finished) && (finished.isEmpty() == ended.isEmpty()),
            qPrintable(report));
        if (leaveFree < 0)
            return;
        // What was written before the disk filled up plays, up to less than a second before.
        const QJsonObject stream
            = probe(kept, {QStringLiteral("-count_frames")})[QLatin1String("streams")].toArray().at(0).toObject();
        const int frames = stream[QLatin1String("nb_read_frames")].toString().toInt();
        QVERIFY2(frames >= 30, qPrintable(report + QStringLiteral(", frames: %1").arg(frames)));
    }

    void refusesSizesTheEncoderCannotTake()
    {
        const Result<std::unique_ptr<VideoFileWriter>> writer
            = MediaVideoWriterFactory::open(path("huge.mp4"), planOf(40000, 40000, VideoCodec::h264));
        QVERIFY(!writer);
        QCOMPARE(writer.error().message, QStringLiteral("Couldn't write the video: unsupported codec settings"));
    }
};

QTEST_GUILESS_MAIN(tst_VideoFileWriter)
#include "tst_VideoFileWriter.moc"
