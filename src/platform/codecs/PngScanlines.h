#pragma once

#include "Bitmap.h"

#include <QtGlobal>

// A bitmap's rows as PNG scanlines: a filter-type byte, then 8-bit RGB samples for an opaque
// bitmap (the padding byte dropped) or 8-bit RGBA with the colours divided by alpha again for a
// premultiplied one, since PNG stores straight alpha.
class PngScanlines
{
public:
    explicit PngScanlines(const Bitmap &image);

    // PNG colour type: 2 (truecolour) or 6 (truecolour with alpha).
    quint8 colourType() const { return m_hasAlpha ? 6 : 2; }
    qsizetype bytesPerRow() const { return 1 + qsizetype(m_image.width()) * (m_hasAlpha ? 4 : 3); }

    // Writes rows [first, first + count) to `out`, which holds count × bytesPerRow() bytes.
    // Rows do not depend on each other, so parts of the image can be written on several threads.
    void write(int first, int count, uchar *out) const;

private:
    const Bitmap &m_image;
    bool m_hasAlpha;
};
