#include "PngWriter.h"

#include "ParallelDeflate.h"
#include "PngScanlines.h"

#include <QtEndian>

#include <libdeflate.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr char signature[] = "\x89PNG\r\n\x1a\n";
// A chunk's length field is a signed 31-bit number; bigger data goes into several IDAT chunks.
constexpr qsizetype maxChunkData = 0x7fffffff;
constexpr double metresPerInch = 0.0254;

void appendBigEndian(QByteArray &out, quint32 value)
{
    char bytes[4];
    qToBigEndian<quint32>(value, bytes);
    out.append(bytes, 4);
}

void appendChunk(QByteArray &out, const char (&type)[5], const char *data, qsizetype size)
{
    appendBigEndian(out, quint32(size));
    const qsizetype typeAt = out.size();
    out.append(type, 4);
    out.append(data, size);
    // The CRC covers the type and the data.
    appendBigEndian(out, libdeflate_crc32(0, out.constData() + typeAt, size_t(4 + size)));
}

} // namespace

Result<QByteArray> PngWriter::write(const Bitmap &image, double dotsPerInch)
{
    const PngScanlines scanlines(image);
    Result<QByteArray> compressed = ParallelDeflate::compress(image.height(), scanlines.bytesPerRow(),
        [&scanlines](int first, int count, uchar *out) { scanlines.write(first, count, out); });
    if (!compressed)
        return compressed;
    const QByteArray &stream = compressed.value();

    char header[13];
    qToBigEndian<quint32>(quint32(image.width()), header);
    qToBigEndian<quint32>(quint32(image.height()), header + 4);
    header[8] = 8; // bits per sample
    header[9] = char(scanlines.colourType());
    header[10] = 0; // deflate
    header[11] = 0; // adaptive filtering, one filter-type byte per row
    header[12] = 0; // not interlaced

    // pHYs stores pixels per metre; a reader that shows inches gets back 72 × scale.
    const auto pixelsPerMetre = quint32(std::clamp(std::lround(dotsPerInch / metresPerInch), 1L, long(maxChunkData)));
    char physical[9];
    qToBigEndian<quint32>(pixelsPerMetre, physical);
    qToBigEndian<quint32>(pixelsPerMetre, physical + 4);
    physical[8] = 1; // the unit is the metre

    QByteArray file;
    file.reserve(qsizetype(sizeof signature) + 25 + 21 + stream.size() + 12 + 12);
    file.append(signature, qsizetype(sizeof signature) - 1);
    appendChunk(file, "IHDR", header, sizeof header);
    appendChunk(file, "pHYs", physical, sizeof physical);
    for (qsizetype at = 0; at < stream.size(); at += maxChunkData)
        appendChunk(file, "IDAT", stream.constData() + at, std::min(maxChunkData, stream.size() - at));
    appendChunk(file, "IEND", nullptr, 0);
    return file;
}
