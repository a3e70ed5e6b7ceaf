#include "ImageEncoder.h"

#include "JpegWriter.h"
#include "PngWriter.h"

#include <cmath>
#include <new>

namespace {

Error failure(const QString &detail)
{
    return Error{QStringLiteral("Couldn't encode the image."), detail};
}

} // namespace

Result<QByteArray> ImageEncoder::encode(const Bitmap &image, ImageFormat format, double scale, double quality)
{
    if (image.isNull() || image.width() <= 0 || image.height() <= 0)
        return failure(
            QStringLiteral("nothing to encode: the bitmap is empty (%1x%2)").arg(image.width()).arg(image.height()));
    if (image.bytesPerLine() < qsizetype(image.width()) * 4)
        return failure(QStringLiteral("malformed bitmap: %1 bytes per line for %2 pixels")
                           .arg(image.bytesPerLine())
                           .arg(image.width()));

    // A scale that is not a positive number would write a resolution no viewer can use.
    const double dotsPerInch = 72.0 * (std::isfinite(scale) && scale > 0 ? scale : 1.0);

    Result<QByteArray> encoded = QByteArray();
    try {
        switch (format) {
        case ImageFormat::png:
            encoded = PngWriter::write(image, dotsPerInch);
            break;
        case ImageFormat::jpeg:
            encoded = JpegWriter::write(image, dotsPerInch, quality);
            break;
        }
    } catch (const std::bad_alloc &) {
        // Both writers build the whole file in memory, PNG also its rows; a huge capture may not fit.
        return failure(QStringLiteral("out of memory encoding %1x%2 pixels").arg(image.width()).arg(image.height()));
    }
    if (!encoded)
        return failure(encoded.error().detail);
    return encoded;
}
