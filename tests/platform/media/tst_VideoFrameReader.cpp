#include "VideoFrameReader.h"

#include <QFile>
#include <QProcess>
#include <QRgb>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cstdlib>

// The videos are made by the ffmpeg command from lavfi's synthetic sources and encoded with
// libx264 as a recorder would, B-frames and all.
namespace {

// `options` are separated by spaces; `input` and `output` are kept whole.
bool ffmpeg(const QStringList &input, const QString &options, const QString &output)
{
    const QStringList quiet{QStringLiteral("-loglevel"), QStringLiteral("error"), QStringLiteral("-y")};
    return QProcess::execute(
               QStringLiteral("ffmpeg"), quiet + input + options.split(u' ', Qt::SkipEmptyParts) << output)
        == 0;
}

bool encode(const QString &path, const QString &source, const QString &options = QStringLiteral("-pix_fmt yuv420p"))
{
    return ffmpeg({QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"), source},
        QStringLiteral("-c:v libx264 ") + options, path);
}

// Bitmap memory is B, G, R, A.
QRgb colourAt(const Bitmap &bitmap, int x, int y)
{
    const uchar *pixel = bitmap.scanLine(y) + qsizetype(x) * 4;
    return qRgb(pixel[2], pixel[1], pixel[0]);
}

bool near(QRgb actual, QRgb expected)
{
    return std::abs(qRed(actual) - qRed(expected)) <= 8 && std::abs(qGreen(actual) - qGreen(expected)) <= 8
        && std::abs(qBlue(actual) - qBlue(expected)) <= 8;
}

constexpr QRgb red = 0xffff0000;
constexpr QRgb blue = 0xff0000ff;
constexpr QRgb grey = 0xff808080;
constexpr QRgb orange = 0xffc87828;

} // namespace

class tst_VideoFrameReader : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(!QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty(), "needs the ffmpeg command");
    }

    void firstFrame_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("options");
        QTest::addColumn<int>("rotateTag"); // written into the track's display matrix
        QTest::addColumn<QSize>("bounds");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QRgb>("topLeft");
        QTest::addColumn<QRgb>("bottomLeft");

        const QSize thumbnail(512, 512);
        const QString yuv420 = QStringLiteral("-pix_fmt yuv420p");
        const auto plain
            = [](const char *size) -> QString { return QStringLiteral("color=c=gray:d=0.2:s=") + QLatin1String(size); };
        QTest::newRow("wide") << plain("1920x480") << yuv420 << 0 << thumbnail << QSize(512, 128) << grey << grey;
        QTest::newRow("tall") << plain("480x1920") << yuv420 << 0 << thumbnail << QSize(128, 512) << grey << grey;
        QTest::newRow("small, not enlarged")
            << plain("320x240") << yuv420 << 0 << thumbnail << QSize(320, 240) << grey << grey;
        QTest::newRow("narrow bounds") << plain("320x240") << yuv420 << 0 << QSize(100, 512) << QSize(100, 75) << grey
                                       << grey;
        // Pixels twice as wide as tall: shown as 640x240.
        QTest::newRow("non-square pixels")
            << plain("320x240,setsar=2") << yuv420 << 0 << thumbnail << QSize(512, 192) << grey << grey;

        // A single red frame, then blue.
        QTest::newRow("first frame, not a later one")
            << QStringLiteral("color=c=red:s=320x240:d=0.04[a];color=c=blue:s=320x240:d=1[b];[a][b]concat") << yuv420
            << 0 << thumbnail << QSize(320, 240) << red << red;
        // Read with the wrong matrix or range, this orange is 10 to 20 off in some channel.
        const QString toYuv = QStringLiteral("color=c=0xC87828:s=64x64:d=0.2,format=rgb24,scale=");
        QTest::newRow("BT.601, untagged") << toYuv + QStringLiteral("out_color_matrix=bt601,format=yuv420p")
                                          << QString() << 0 << thumbnail << QSize(64, 64) << orange << orange;
        QTest::newRow("BT.709") << toYuv + QStringLiteral("out_color_matrix=bt709,format=yuv420p")
                                << QStringLiteral("-colorspace bt709") << 0 << thumbnail << QSize(64, 64) << orange
                                << orange;
        QTest::newRow("full range") << toYuv + QStringLiteral("out_range=pc,format=yuv420p")
                                    << QStringLiteral("-color_range pc") << 0 << thumbnail << QSize(64, 64) << orange
                                    << orange;

        // Red top-left quarter; the corners are where ffmpeg's own player shows it.
        const QString quarter = QStringLiteral("color=c=blue:s=320x240:d=0.2,drawbox=w=160:h=120:color=red:t=fill");
        QTest::newRow("upright") << quarter << yuv420 << 0 << thumbnail << QSize(320, 240) << red << blue;
        QTest::newRow("quarter turn") << quarter << yuv420 << 90 << thumbnail << QSize(240, 320) << blue << red;
        QTest::newRow("half turn") << quarter << yuv420 << 180 << thumbnail << QSize(320, 240) << blue << blue;
        QTest::newRow("three quarter turns")
            << quarter << yuv420 << 270 << thumbnail << QSize(240, 320) << blue << blue;
    }
    void firstFrame()
    {
        QFETCH(QString, source);
        QFETCH(QString, options);
        QFETCH(int, rotateTag);
        QFETCH(QSize, bounds);
        QFETCH(QSize, size);
        QFETCH(QRgb, topLeft);
        QFETCH(QRgb, bottomLeft);

        QString path = m_dir.filePath(QStringLiteral("video.mp4"));
        QVERIFY(encode(path, source, options));
        if (rotateTag) { // only a stream copy keeps the tag in this ffmpeg
            const QString rotated = m_dir.filePath(QStringLiteral("rotated.mp4"));
            QVERIFY(ffmpeg({QStringLiteral("-i"), path},
                QStringLiteral("-c copy -metadata:s:v rotate=%1").arg(rotateTag), rotated));
            path = rotated;
        }

        const Result<Bitmap> frame = VideoFrameReader::firstFrame(path, bounds);
        QVERIFY2(frame, qPrintable(frame ? QString() : frame.error().detail));
        QCOMPARE(frame->size(), size);
        const QRgb top = colourAt(*frame, 3, 3);
        const QRgb bottom = colourAt(*frame, 3, size.height() - 4);
        QVERIFY2(near(top, topLeft) && near(bottom, bottomLeft),
            qPrintable(QString::number(top, 16) + u' ' + QString::number(bottom, 16)));
    }

    void unreadable_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("missing") << QStringLiteral("missing");
        QTest::newRow("not a video") << QStringLiteral("text");
        QTest::newRow("cut short") << QStringLiteral("truncated");
        QTest::newRow("sound only") << QStringLiteral("audio");
    }
    void unreadable()
    {
        QFETCH(QString, kind);

        const QString path = m_dir.filePath(kind + QLatin1String(".mp4"));
        QFile file(path);
        if (kind == QLatin1String("text")) {
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray("not a recording at all\n").repeated(200));
        } else if (kind == QLatin1String("truncated")) { // the index up front, the pictures cut off
            QVERIFY(encode(path, QStringLiteral("testsrc=s=320x240:d=1"), QStringLiteral("-movflags +faststart")));
            QVERIFY(file.resize(file.size() / 3));
        } else if (kind == QLatin1String("audio")) {
            QVERIFY(ffmpeg(
                {QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("sine=d=0.5")},
                QStringLiteral("-c:a aac"), path));
        }
        file.close();

        const Result<Bitmap> frame = VideoFrameReader::firstFrame(path, {512, 512});
        QVERIFY(!frame);
        QCOMPARE(frame.error().message, QStringLiteral("Couldn't read the recording's first frame."));
        QVERIFY(!frame.error().detail.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_VideoFrameReader)
#include "tst_VideoFrameReader.moc"
