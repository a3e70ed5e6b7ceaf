#include "ImageEncoder.h"

#include <QImage>
#include <QRegularExpression>
#include <QTest>

#include <cmath>
#include <memory>

Q_DECLARE_METATYPE(Bitmap::Alpha)
Q_DECLARE_METATYPE(ImageFormat)

namespace {

// Gradients, hard edges and one-pixel coloured lines. The fourth byte of an opaque scene is
// junk, as the padding of a real capture may be.
QImage scene(QSize size, Bitmap::Alpha alpha)
{
    QImage image(size, alpha == Bitmap::Alpha::ignored ? QImage::Format_ARGB32 : QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < size.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            uint red = x * 255 / std::max(1, size.width() - 1);
            uint green = y * 255 / std::max(1, size.height() - 1);
            uint blue = (x / 7 + y / 5) % 2 ? 230 : 20;
            if (x % 16 == 3)
                red = 255, green = 0, blue = 0;
            if (y % 11 == 5)
                red = 0, green = 0, blue = 255;
            const uint fourth = alpha == Bitmap::Alpha::ignored ? (x * 37 + y * 11) & 0xff : (x + y * 3) & 0xff;
            if (alpha == Bitmap::Alpha::premultiplied) // every alpha, with colours it can hold
                red = red * fourth / 255, green = green * fourth / 255, blue = blue * fourth / 255;
            line[x] = qRgba(int(red), int(green), int(blue), int(fourth));
        }
    }
    return image;
}

// The worst mean absolute colour error over any band of 16 rows, so that one damaged stretch of
// a large image is not averaged away.
double worstBandError(const QImage &decoded, const QImage &expected)
{
    double worst = 0;
    for (int top = 0; top < expected.height(); top += 16) {
        qint64 sum = 0;
        const int bottom = std::min(top + 16, expected.height());
        for (int y = top; y < bottom; ++y) {
            for (int x = 0; x < expected.width(); ++x) {
                const QRgb a = decoded.pixel(x, y);
                const QRgb b = expected.pixel(x, y);
                sum += std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) + std::abs(qBlue(a) - qBlue(b));
            }
        }
        worst = std::max(worst, double(sum) / (3.0 * expected.width() * (bottom - top)));
    }
    return worst;
}

} // namespace

class tst_ImageEncoder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A damaged stream makes Qt's decoders warn ("Corrupt JPEG data", "IDAT: invalid distance").
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void roundTrip_data()
    {
        QTest::addColumn<ImageFormat>("format");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QRect>("view");
        QTest::addColumn<Bitmap::Alpha>("alpha");
        QTest::addColumn<double>("scale");

        const auto opaque = Bitmap::Alpha::ignored;
        const auto premultiplied = Bitmap::Alpha::premultiplied;
        for (const auto &[format, name] : {std::pair{ImageFormat::png, "png"}, std::pair{ImageFormat::jpeg, "jpeg"}}) {
            const auto row
                = [name = name](const char *what) -> QTestData & { return QTest::addRow("%s, %s", name, what); };
            row("view of odd width, scale 2") << format << QSize(64, 48) << QRect(3, 5, 37, 23) << opaque << 2.0;
            row("premultiplied") << format << QSize(256, 64) << QRect() << premultiplied << 1.0;
            // Big enough to be compressed in parts on two threads.
            row("large") << format << QSize(1203, 801) << QRect() << opaque << 1.0;
        }
    }

    void roundTrip()
    {
        QFETCH(ImageFormat, format);
        QFETCH(QSize, size);
        QFETCH(QRect, view);
        QFETCH(Bitmap::Alpha, alpha);
        QFETCH(double, scale);

        const auto source = std::make_shared<const QImage>(scene(size, alpha));
        Bitmap bitmap(source->size(), source->bytesPerLine(), source->constBits(), source, alpha);
        // What a viewer shows: opaque pixels with the padding ignored, or premultiplied colours
        // (which is also what JPEG stores: the capture over black).
        QImage expected = source->convertToFormat(
            alpha == Bitmap::Alpha::ignored ? QImage::Format_RGB32 : QImage::Format_ARGB32_Premultiplied);
        if (!view.isNull()) {
            bitmap = bitmap.cropped(view);
            expected = expected.copy(view);
            QVERIFY(bitmap.bytesPerLine() > qsizetype(bitmap.width()) * 4);
        }

        const Result<QByteArray> file = ImageEncoder::encode(bitmap, format, scale, 0.9);
        QVERIFY(file.ok());
        const QImage decoded = QImage::fromData(file.value());
        QCOMPARE(decoded.size(), expected.size());

        if (format == ImageFormat::png) {
            // No alpha channel for an opaque capture, where the padding's junk would show as holes.
            QCOMPARE(file->at(25), char(alpha == Bitmap::Alpha::ignored ? 2 : 6)); // RGB or RGBA
            // Lossless: premultiplying the stored straight colours gives back the capture exactly.
            QCOMPARE(decoded.convertToFormat(expected.format()), expected);
            QCOMPARE(decoded.dotsPerMeterX(), qRound(72 * scale / 0.0254));
            QCOMPARE(decoded.dotsPerMeterY(), qRound(72 * scale / 0.0254));
        } else {
            // About 5.5 for this harsh scene at quality 0.9; a band decoded from damaged data or
            // subsampled chroma (33) is far off.
            const double error = worstBandError(decoded, expected);
            QVERIFY2(error < 8, qPrintable(QString::number(error)));
            // JFIF holds whole dots per inch; Qt converts them to dots per metre.
            QCOMPARE(qRound(decoded.dotsPerMeterX() * 0.0254), qRound(72 * scale));
            QCOMPARE(qRound(decoded.dotsPerMeterY() * 0.0254), qRound(72 * scale));
        }
    }

    void failure_data()
    {
        QTest::addColumn<ImageFormat>("format");
        QTest::addColumn<QSize>("size");
        QTest::newRow("png, null bitmap") << ImageFormat::png << QSize();
        QTest::newRow("jpeg, null bitmap") << ImageFormat::jpeg << QSize();
        QTest::newRow("jpeg, wider than JPEG allows") << ImageFormat::jpeg << QSize(65501, 1);
    }

    void failure()
    {
        QFETCH(ImageFormat, format);
        QFETCH(QSize, size);
        const Bitmap bitmap = size.isValid() ? Bitmap::allocate(size) : Bitmap();
        const Result<QByteArray> file = ImageEncoder::encode(bitmap, format, 1.0, 0.9);
        QVERIFY(!file.ok());
        QCOMPARE(file.error().message, QStringLiteral("Couldn't encode the image."));
        QVERIFY(!file.error().detail.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_ImageEncoder)
#include "tst_ImageEncoder.moc"
