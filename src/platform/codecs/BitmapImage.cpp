#include "BitmapImage.h"

QImage BitmapImage::wrap(const Bitmap &bitmap, double devicePixelRatio)
{
    if (bitmap.isNull())
        return {};
    auto *owner = new std::shared_ptr<const void>(bitmap.owner());
    QImage image(
        bitmap.constBits(), bitmap.width(), bitmap.height(), bitmap.bytesPerLine(),
        bitmap.alpha() == Bitmap::Alpha::premultiplied ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32,
        [](void *info) { delete static_cast<std::shared_ptr<const void> *>(info); }, owner);
    image.setDevicePixelRatio(devicePixelRatio);
    return image;
}

Bitmap BitmapImage::fromImage(const QImage &image)
{
    if (image.isNull())
        return {};
    const bool premultiplied = image.format() == QImage::Format_ARGB32_Premultiplied;
    auto owned = std::make_shared<QImage>(premultiplied ? image : image.convertToFormat(QImage::Format_RGB32));
    return Bitmap(owned->size(), owned->bytesPerLine(), owned->constBits(), owned,
        premultiplied ? Bitmap::Alpha::premultiplied : Bitmap::Alpha::ignored);
}
