#pragma once

#include "Result.h"

#include <QByteArray>

#include <functional>

// Compresses rows of equal length into one zlib stream (RFC 1950) on two cores.
//
// The rows are split in two parts compressed at the same time. libdeflate is the faster
// compressor, but it can only finish a stream: it cannot end a part with a non-final block that
// another part continues. zlib can (a sync flush), so zlib compresses the head and libdeflate the
// tail, which it ends; the tail is the larger part so that both finish together. The two
// checksums are combined, so the result is one stream and any inflater reads it.
class ParallelDeflate
{
public:
    // Writes rows [first, first + count) one after another into `out`; called from two threads
    // at once for different rows.
    using RowWriter = std::function<void(int first, int count, uchar *out)>;

    // A failure carries only the detail; the caller words it for the user.
    static Result<QByteArray> compress(int rowCount, qsizetype bytesPerRow, const RowWriter &writeRows);
};
