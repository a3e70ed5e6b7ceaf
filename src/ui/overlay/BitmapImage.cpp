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
