#include "VideoFrameReader.h"

#include <QFile>
#include <QProcess>
#include <QRgb>
#include <QTemporaryDir>
#include <QTest>

#include <cstdlib>

// The videos are made by the ffmpeg command from lavfi's synthetic sources and encoded with
// libx264 as a recorder would, B-frames and all.
namespace {

// Encodes lavfi's `source` into `path`; `options` are separated by spaces.
bool encode(const QString &path, const QString &source, const QString &options = QStringLiteral("-pix_fmt yuv420p"))
{
    return QProcess::execute(QStringLiteral("ffmpeg"),
               QStringLiteral("-loglevel error -y -f lavfi -i").split(u' ')
                   << source << QString(QStringLiteral("-c:v libx264 ") + options).split(u' ', Qt::SkipEmptyParts)
                   << path)
        == 0;
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
constexpr QRgb grey = 0xff808080;
constexpr QRgb orange = 0xffc87828;

} // namespace

class tst_VideoFrameReader : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private Q_SLOTS:
    // What a recording's thumbnail needs: scaled into its bounds, the very first frame, and
    // colours read with the matrix the recorder tags (BT.709).
    void firstFrame_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("options");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QRgb>("colour");

        const QString yuv420 = QStringLiteral("-pix_fmt yuv420p");
        QTest::newRow("wide, scaled down")
            << QStringLiteral("color=c=gray:d=0.2:s=1920x480") << yuv420 << QSize(512, 128) << grey;
        // A single red frame, then blue.
        QTest::newRow("first frame, not a later one")
            << QStringLiteral("color=c=red:s=320x240:d=0.04[a];color=c=blue:s=320x240:d=1[b];[a][b]concat") << yuv420
            << QSize(320, 240) << red;
        // Read with the wrong matrix or range, this orange is 10 to 20 off in some channel.
        QTest::newRow("BT.709") << QStringLiteral(
            "color=c=0xC87828:s=64x64:d=0.2,format=rgb24,scale=out_color_matrix=bt709,format=yuv420p")
                                << QStringLiteral("-colorspace bt709") << QSize(64, 64) << orange;
    }
    void firstFrame()
    {
        QFETCH(QString, source);
        QFETCH(QString, options);
        QFETCH(QSize, size);
        QFETCH(QRgb, colour);

        const QString path = m_dir.filePath(QStringLiteral("video.mp4"));
        QVERIFY(encode(path, source, options));
        const Result<Bitmap> frame = VideoFrameReader::firstFrame(path, {512, 512});
        QVERIFY2(frame, qPrintable(frame ? QString() : frame.error().detail));
        QCOMPARE(frame->size(), size);
        const QRgb top = colourAt(*frame, 3, 3);
        const QRgb bottom = colourAt(*frame, 3, size.height() - 4);
        QVERIFY2(near(top, colour) && near(bottom, colour),
            qPrintable(QString::number(top, 16) + u' ' + QString::number(bottom, 16)));
    }

    void unreadable_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("missing") << QStringLiteral("missing");
        QTest::newRow("cut short") << QStringLiteral("truncated");
    }
    void unreadable()
    {
        QFETCH(QString, kind);

        const QString path = m_dir.filePath(kind + QLatin1String(".mp4"));
        QFile file(path);
        if (kind == QLatin1String("truncated")) { // the index up front, the pictures cut off
            QVERIFY(encode(path, QStringLiteral("testsrc=s=320x240:d=1"), QStringLiteral("-movflags +faststart")));
            QVERIFY(file.resize(file.size() / 3));
        }

        const Result<Bitmap> frame = VideoFrameReader::firstFrame(path, {512, 512});
        QVERIFY(!frame);
        QCOMPARE(frame.error().message, QStringLiteral("Couldn't read the recording's first frame."));
        QVERIFY(!frame.error().detail.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_VideoFrameReader)
#include "tst_VideoFrameReader.moc"
