#include "ImageThumbnail.h"

#include "BitmapImage.h"
#include "ImageEncoder.h"
#include "ThumbnailSize.h"

Result<QByteArray> ImageThumbnail::png(const Bitmap &image)
{
    const QSize size = thumbnailSize(image.size());
    if (image.isNull() || size.isEmpty())
        return Error{QStringLiteral("There is no picture to show."), QString()};
    const QImage source = BitmapImage::wrap(image);
    QImage scaled = source.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (scaled.format() != source.format())
        scaled = scaled.convertToFormat(source.format());
    // Read as opaque, premultiplied colours are the picture over black: servers draw a
    // thumbnail on their own background, where a translucent window shadow would look smudged.
    Bitmap thumbnail = BitmapImage::fromImage(scaled);
    thumbnail = Bitmap(
        thumbnail.size(), thumbnail.bytesPerLine(), thumbnail.constBits(), thumbnail.owner(), Bitmap::Alpha::ignored);
    return ImageEncoder::encode(thumbnail, ImageFormat::png, 1.0, 0.0);
}
