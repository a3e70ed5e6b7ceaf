#pragma once

#include "Bitmap.h"

#include <QImage>

// A QImage over a Bitmap's pixels, without a copy: the image keeps the Bitmap's memory alive.
class BitmapImage
{
public:
    static QImage wrap(const Bitmap &bitmap, double devicePixelRatio = 1.0);
};
