#pragma once

#include "Bitmap.h"

#include <QImage>

// The one bridge between Qt's images and capture's bitmaps; neither direction copies pixels.
class BitmapImage
{
public:
    // A QImage over a Bitmap's pixels: the image keeps the Bitmap's memory alive.
    static QImage wrap(const Bitmap &bitmap, double devicePixelRatio = 1.0);
    // A Bitmap over a QImage's pixels, in the 32-bit layout capture uses (converted if need be).
    static Bitmap fromImage(const QImage &image);
};
