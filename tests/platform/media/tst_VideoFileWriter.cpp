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

// `options` are separated by spaces.
QJsonObject probe(const QString &path, const QString &options = {})
{
    QProcess ffprobe;
    ffprobe.start(QStringLiteral("ffprobe"),
        QStringLiteral("-v error -of json -show_streams -show_format").split(u' ')
                + options.split(u' ', Qt::SkipEmptyParts)
            << path);
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
    // Grabbed larger than the plan, so the writer scales down. The last frame stays until the
    // stop, or ends the file when the stop comes before it (a clock that went back).
    void writesWhatPlayersExpect_data()
    {
        QTest::addColumn<VideoCodec>("codec");
        QTest::addColumn<int>("stepMs");
        QTest::addColumn<int>("stopMs");
        QTest::addColumn<int>("durationMs"); // within 50 ms
        QTest::newRow("hevc, stopped after the last frame") << VideoCodec::hevc << 33 << 2000 << 2000;
        // The last frame at 2.9 s, shown for its 1/30 s.
        QTest::newRow("h264, stopped before the last frame") << VideoCodec::h264 << 100 << 1000 << 2950;
    }
    void writesWhatPlayersExpect()
    {
        QFETCH(VideoCodec, codec);
        QFETCH(int, stepMs);
        QFETCH(int, stopMs);
        QFETCH(int, durationMs);
        const QString file = path("plain.mp4");
        QFile::remove(file);
        QVERIFY(QFile(file).open(QIODevice::WriteOnly)); // a file of that name is replaced
        std::unique_ptr<VideoFileWriter> writer = open(file, planOf(320, 180, codec));
        QVERIFY(writer);
        appendFrames(*writer, QSize(640, 360), 30, std::chrono::milliseconds(stepMs));
        Result<QString> finished = writer->finish(m_start + std::chrono::milliseconds(stopMs));
        QVERIFY2(finished, qPrintable(finished ? QString() : finished.error().message));
        QCOMPARE(*finished, file);
        QCOMPARE(writer->framesWritten(), 30);

        const QJsonObject info = probe(file);
        const QJsonObject stream = info[QLatin1String("streams")].toArray().at(0).toObject();
        QStringList seen;
        for (const char *key : {"codec_name", "width", "height", "pix_fmt", "color_range", "color_space",
                 "color_transfer", "color_primaries"})
            seen << stream[QLatin1String(key)].toVariant().toString();
        // Tagged with the matrix and range the colours were converted with: a player guesses
        // another matrix for an untagged file of this size, and shifts every colour.
        QCOMPARE(seen.join(u' '),
            QString((codec == VideoCodec::hevc ? QStringLiteral("hevc") : QStringLiteral("h264"))
                + QStringLiteral(" 320 180 yuv420p tv bt709 bt709 bt709")));
        const QJsonObject format = info[QLatin1String("format")].toObject();
        QCOMPARE(format[QLatin1String("start_time")].toString().toDouble(), 0.0);
        const double length = format[QLatin1String("duration")].toString().toDouble();
        QVERIFY2(std::abs(qRound(length * 1000) - durationMs) <= 50, qPrintable(QString::number(length)));

        QFile read(file);
        QVERIFY(read.open(QIODevice::ReadOnly));
        const QByteArray bytes = read.readAll();
        QVERIFY2(bytes.indexOf("moov") < bytes.indexOf("mdat"), "the index comes before the media");
        QCOMPARE(bytes.indexOf("moof"), -1); // no longer fragmented
    }

    // Nothing to keep leaves no file: a recording stopped before its first frame, one
    // cancelled, one at a size the encoder refuses.
    void leavesNoFileWithoutARecording()
    {
        const QString file = path("gone.mp4");
        std::unique_ptr<VideoFileWriter> writer = open(file, planOf(64, 64, VideoCodec::h264));
        QVERIFY(writer);
        const Result<QString> finished = writer->finish(m_start);
        QCOMPARE(finished ? QString() : finished.error().message, QStringLiteral("The recording contains no frames."));
        QVERIFY(!QFile::exists(file));

        writer = open(file, planOf(64, 64, VideoCodec::h264));
        QVERIFY(writer);
        appendFrames(*writer, QSize(64, 64), 60);
        QVERIFY(QFile::exists(file));
        writer->cancel();
        QVERIFY(!QFile::exists(file));

        const Result<std::unique_ptr<VideoFileWriter>> huge
            = MediaVideoWriterFactory::open(file, planOf(40000, 40000, VideoCodec::h264));
        QCOMPARE(huge ? QString() : huge.error().message,
            QStringLiteral("Couldn't write the video: unsupported codec settings"));
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
            = probe(kept, QStringLiteral("-count_frames"))[QLatin1String("streams")].toArray().at(0).toObject();
        const int frames = stream[QLatin1String("nb_read_frames")].toString().toInt();
        QVERIFY2(frames >= 30, qPrintable(report + QStringLiteral(", frames: %1").arg(frames)));
    }
};

QTEST_GUILESS_MAIN(tst_VideoFileWriter)
#include "tst_VideoFileWriter.moc"
