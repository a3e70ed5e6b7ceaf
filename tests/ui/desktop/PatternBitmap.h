#pragma once

#include "Bitmap.h"

#include <QImage>

// An opaque picture in which every pixel differs from its neighbours, so a shifted, flipped,
// swizzled or resampled copy cannot match.
inline QImage patternImage(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, qRgb((x * 37 + y * 11) & 0xff, (x * 5 + y * 73) & 0xff, (x * y + 29) & 0xff));
    return image;
}

// The same picture as a capture: Format_RGB32 is a Bitmap's memory order.
inline Bitmap patternBitmap(QSize size)
{
    auto image = std::make_shared<QImage>(patternImage(size));
    return Bitmap(size, image->bytesPerLine(), image->constBits(), image);
}
