#include "ParallelDeflate.h"

#include "ParallelParts.h"

#include <QString>
#include <QtEndian>

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <climits>
#include <memory>

namespace {

// Level 6 in both libraries, zlib's default. On captured desktops level 9 saved only 2–3 % at
// two to six times the time, while level 5 cost 1.5–3 % more bytes and level 4 5 %.
constexpr int zlibLevel = 6;
constexpr int libdeflateLevel = 6;

// zlib's share of the rows. At these levels zlib took 1.4–1.8 times as long per row as
// libdeflate on captured desktops (libdeflate also pays for holding its whole part in memory),
// so with two fifths of the rows at zlib both parts end at about the same time. The split
// depends on the image alone, so the bytes written do not depend on the machine.
constexpr int headShareNumerator = 2;
constexpr int headShareDenominator = 5;

// Below this much data a second thread costs more than it saves.
constexpr qsizetype minBytesToSplit = qsizetype(1) << 20;

// zlib is fed batches of rows of about this size: few calls, and the batch stays in cache.
constexpr qsizetype zlibBatchBytes = qsizetype(256) << 10;

// The deflate stream of some of the rows, the Adler-32 of those rows and their length.
struct Part
{
    QByteArray deflated;
    quint32 adler = 1;
    qsizetype length = 0;
    QString failure;
};

struct ZlibStreamEnd
{
    void operator()(z_stream *stream) const { deflateEnd(stream); }
};

struct LibdeflateCompressorFree
{
    void operator()(libdeflate_compressor *compressor) const { libdeflate_free_compressor(compressor); }
};

// Raw deflate of the rows, ended by a sync flush: an empty stored block that leaves the stream
// open and byte-aligned, so the tail's blocks can follow directly.
void deflateHead(int first, int count, qsizetype bytesPerRow, const ParallelDeflate::RowWriter &writeRows, Part &part)
{
    z_stream stream{};
    if (deflateInit2(&stream, zlibLevel, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        part.failure = QStringLiteral("zlib: deflateInit2 failed");
        return;
    }
    const std::unique_ptr<z_stream, ZlibStreamEnd> streamGuard(&stream);

    const int rowsPerBatch = int(std::clamp<qsizetype>(zlibBatchBytes / bytesPerRow, 1, count));
    const auto batch = std::make_unique_for_overwrite<uchar[]>(size_t(rowsPerBatch * bytesPerRow));
    part.length = qsizetype(count) * bytesPerRow;
    // Room for all of it unless the rows do not compress at all; it grows if they do not.
    part.deflated.resize(qsizetype(std::min<uLong>(deflateBound(&stream, uLong(part.length)) + 64, INT_MAX / 2)));

    for (int row = 0; row < count; row += rowsPerBatch) {
        const int rows = std::min(rowsPerBatch, count - row);
        const qsizetype batchBytes = qsizetype(rows) * bytesPerRow;
        writeRows(first + row, rows, batch.get());
        part.adler = libdeflate_adler32(part.adler, batch.get(), size_t(batchBytes));
        stream.next_in = batch.get();
        stream.avail_in = uInt(batchBytes);
        const int flush = row + rows == count ? Z_SYNC_FLUSH : Z_NO_FLUSH;
        do {
            if (qsizetype(stream.total_out) == part.deflated.size())
                part.deflated.resize(part.deflated.size() * 2);
            const qsizetype room = part.deflated.size() - qsizetype(stream.total_out);
            stream.next_out = reinterpret_cast<Bytef *>(part.deflated.data()) + stream.total_out;
            stream.avail_out = uInt(std::min<qsizetype>(room, UINT_MAX));
            const int status = deflate(&stream, flush);
            // Z_BUF_ERROR only says that a call could make no progress; it is not fatal.
            if (status != Z_OK && status != Z_BUF_ERROR) {
                part.failure = QStringLiteral("zlib: deflate returned %1").arg(status);
                return;
            }
        } while (stream.avail_in > 0 || stream.avail_out == 0);
    }
    part.deflated.truncate(qsizetype(stream.total_out));
}

// Raw deflate of the rows as the last part: libdeflate compresses a whole buffer at once.
void deflateTail(int first, int count, qsizetype bytesPerRow, const ParallelDeflate::RowWriter &writeRows, Part &part)
{
    const std::unique_ptr<libdeflate_compressor, LibdeflateCompressorFree> compressor(
        libdeflate_alloc_compressor(libdeflateLevel));
    if (!compressor) {
        part.failure = QStringLiteral("libdeflate: cannot allocate a compressor");
        return;
    }
    part.length = qsizetype(count) * bytesPerRow;
    const auto rows = std::make_unique_for_overwrite<uchar[]>(size_t(part.length));
    writeRows(first, count, rows.get());
    part.adler = libdeflate_adler32(part.adler, rows.get(), size_t(part.length));

    part.deflated.resize(qsizetype(libdeflate_deflate_compress_bound(compressor.get(), size_t(part.length))));
    const size_t written = libdeflate_deflate_compress(
        compressor.get(), rows.get(), size_t(part.length), part.deflated.data(), size_t(part.deflated.size()));
    if (written == 0) {
        part.failure = QStringLiteral("libdeflate: the compressed data did not fit its bound");
        return;
    }
    part.deflated.truncate(qsizetype(written));
}

} // namespace

Result<QByteArray> ParallelDeflate::compress(int rowCount, qsizetype bytesPerRow, const RowWriter &writeRows)
{
    const bool split = qsizetype(rowCount) * bytesPerRow >= minBytesToSplit && rowCount >= headShareDenominator;
    const int headRows = split ? int(qint64(rowCount) * headShareNumerator / headShareDenominator) : 0;

    Part head;
    Part tail;
    ParallelParts::run(split ? 2 : 1, [&](int part) {
        if (part == 1)
            deflateHead(0, headRows, bytesPerRow, writeRows, head);
        else
            deflateTail(headRows, rowCount - headRows, bytesPerRow, writeRows, tail);
    });
    for (const Part *part : {&head, &tail}) {
        if (!part->failure.isEmpty())
            return Error{QString(), part->failure};
    }

    QByteArray stream;
    stream.reserve(2 + head.deflated.size() + tail.deflated.size() + 4);
    // CMF 0x78: deflate with a 32 KiB window; FLG 0x9c: the default level, check bits.
    stream.append(char(0x78));
    stream.append(char(0x9c));
    stream.append(head.deflated);
    stream.append(tail.deflated);
    const quint32 adler = split ? quint32(adler32_combine(head.adler, tail.adler, z_off_t(tail.length))) : tail.adler;
    char trailer[4];
    qToBigEndian<quint32>(adler, trailer);
    stream.append(trailer, 4);
    return stream;
}
