// Times ImageEncoder alone on one frame: the median of N runs for PNG and for JPEG at quality
// 0.9, with the size of each file.
//
//   encode_bench [--frame FILE] [--runs N] [--out DIR]
//
// FILE is any image Qt reads (a PPM from `import -window root frame.ppm`, a PNG); without it a
// synthetic 3840x2160 desktop is drawn. With --out the encoded files are written to DIR.

#include "ImageEncoder.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

// Windows with title bars and lines of glyph-like marks in a few colours, on a desktop shaded
// from top to bottom: flat areas and shapes that repeat, like a desktop. Real captures are
// better; this only keeps the program useful without one.
Bitmap syntheticFrame()
{
    const int width = 3840;
    const int height = 2160;
    Bitmap frame = Bitmap::allocate(QSize(width, height));
    quint32 seed = 12345;
    const auto next = [&seed] { return seed = seed * 1664525u + 1013904223u; };
    const auto put = [&frame](int x, int y, quint32 argb) {
        auto *pixel = reinterpret_cast<quint32 *>(frame.bits() + y * frame.bytesPerLine()) + x;
        *pixel = argb;
    };
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            put(x, y, 0xff203040u + (quint32(y * 64 / height) << 8));

    constexpr int glyphCount = 96;
    constexpr int glyphHeight = 12;
    std::vector<quint8> glyphs(size_t(glyphCount) * glyphHeight); // 7 bits wide
    for (quint8 &row : glyphs)
        row = quint8((next() >> 16) & (next() >> 16) & 0x7e);
    const quint32 inks[] = {0xff202020u, 0xff1060c0u, 0xff208040u, 0xffb03030u};
    for (int window = 0; window < 9; ++window) {
        const int left = int(next() % (width - 1400));
        const int top = int(next() % (height - 900));
        const bool dark = window % 3 == 0;
        for (int y = top; y < top + 900; ++y)
            for (int x = left; x < left + 1400; ++x)
                put(x, y, y < top + 36 ? 0xffdcdad5u : (dark ? 0xff1e1e1eu : 0xfff6f5f4u));
        for (int line = 0; line < 40; ++line) {
            const quint32 ink = dark ? 0xffd0d0d0u : inks[next() % 4];
            const int length = int(next() % 150);
            for (int column = 0; column < length; ++column) {
                const int glyph = int((next() >> 8) % glyphCount);
                if (glyph < 16)
                    continue; // a space
                const int x = left + 12 + column * 9;
                for (int gy = 0; gy < glyphHeight; ++gy)
                    for (int gx = 0; gx < 8; ++gx)
                        if (glyphs[size_t(glyph) * glyphHeight + gy] >> gx & 1)
                            put(x + gx, top + 48 + line * 20 + gy, ink);
            }
        }
    }
    return frame;
}

Bitmap loadFrame(const QString &path, QString *error)
{
    QImage image(path);
    if (image.isNull()) {
        *error = QStringLiteral("cannot read %1").arg(path);
        return {};
    }
    // Format_RGB32 is the captured layout (B, G, R, X in memory), so the bitmap is a view of it.
    image.convertTo(QImage::Format_RGB32);
    auto owner = std::make_shared<const QImage>(std::move(image));
    return Bitmap(owner->size(), owner->bytesPerLine(), owner->constBits(), owner);
}

struct Measurement
{
    double medianMs = 0;
    QByteArray file;
};

Measurement measure(const Bitmap &frame, ImageFormat format, int runs)
{
    Measurement measurement;
    std::vector<double> times;
    for (int run = -1; run < runs; ++run) { // run -1 warms caches and the allocator
        QElapsedTimer timer;
        timer.start();
        Result<QByteArray> encoded = ImageEncoder::encode(frame, format, 1.0, 0.9);
        const double elapsedMs = double(timer.nsecsElapsed()) / 1e6;
        if (!encoded) {
            std::fprintf(stderr, "encode_bench: %s (%s)\n", qPrintable(encoded.error().message),
                qPrintable(encoded.error().detail));
            std::exit(1);
        }
        if (run >= 0)
            times.push_back(elapsedMs);
        measurement.file = std::move(encoded).value();
    }
    std::sort(times.begin(), times.end());
    const size_t middle = times.size() / 2;
    measurement.medianMs = times.size() % 2 ? times[middle] : (times[middle - 1] + times[middle]) / 2;
    return measurement;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Times PNG and JPEG (quality 0.9) encoding of one frame."));
    parser.addHelpOption();
    const QCommandLineOption frameOption(
        QStringLiteral("frame"), QStringLiteral("Image file to encode."), QStringLiteral("FILE"));
    const QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Timed runs per format (default 9)."),
        QStringLiteral("N"), QStringLiteral("9"));
    const QCommandLineOption outOption(
        QStringLiteral("out"), QStringLiteral("Write the encoded files to DIR."), QStringLiteral("DIR"));
    parser.addOptions({frameOption, runsOption, outOption});
    parser.process(app);

    bool runsValid = false;
    const int runs = parser.value(runsOption).toInt(&runsValid);
    if (!runsValid || runs < 1) {
        std::fprintf(stderr, "encode_bench: --runs needs a positive number\n");
        return 2;
    }

    QString name = QStringLiteral("synthetic");
    Bitmap frame;
    if (parser.isSet(frameOption)) {
        QString error;
        frame = loadFrame(parser.value(frameOption), &error);
        if (frame.isNull()) {
            std::fprintf(stderr, "encode_bench: %s\n", qPrintable(error));
            return 1;
        }
        name = QFileInfo(parser.value(frameOption)).completeBaseName();
    } else {
        frame = syntheticFrame();
    }

    const Measurement png = measure(frame, ImageFormat::png, runs);
    const Measurement jpeg = measure(frame, ImageFormat::jpeg, runs);

    std::printf("frame     %s, %dx%d\n", qPrintable(parser.isSet(frameOption) ? parser.value(frameOption) : name),
        frame.width(), frame.height());
    std::printf("runs      %d, median\n", runs);
    std::printf("%-10s %10s %12s\n", "format", "encode ms", "bytes");
    std::printf("%-10s %10.1f %12lld\n", "PNG", png.medianMs, qlonglong(png.file.size()));
    std::printf("%-10s %10.1f %12lld\n", "JPEG 0.9", jpeg.medianMs, qlonglong(jpeg.file.size()));

    if (parser.isSet(outOption)) {
        const QDir out(parser.value(outOption));
        if (!out.mkpath(QStringLiteral("."))) {
            std::fprintf(stderr, "encode_bench: cannot create %s\n", qPrintable(out.path()));
            return 1;
        }
        for (const auto &[file, extension] :
            {std::pair{&png.file, QStringLiteral("png")}, std::pair{&jpeg.file, QStringLiteral("jpg")}}) {
            QFile output(out.filePath(name + QLatin1Char('.') + extension));
            if (!output.open(QIODevice::WriteOnly) || output.write(*file) != file->size()) {
                std::fprintf(stderr, "encode_bench: cannot write %s\n", qPrintable(output.fileName()));
                return 1;
            }
        }
    }
    return 0;
}
