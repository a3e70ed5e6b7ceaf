#include "MediaVideoWriterFactory.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>

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
        const QList<QByteArray> keys = ffprobe.readAllStandardOutput().split('\n');
        QVERIFY(keys.value(0).startsWith("1"));
        QVERIFY(keys.value(300).startsWith("1"));
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
