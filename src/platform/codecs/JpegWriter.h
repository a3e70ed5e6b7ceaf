#pragma once

#include "Bitmap.h"
#include "Result.h"

#include <QByteArray>

// A baseline JFIF file of a bitmap through libjpeg(-turbo), which reads the captured B, G, R, X
// pixels directly. JPEG has no alpha: a premultiplied bitmap is written as its colours, which is
// the capture composited over black.
class JpegWriter
{
public:
    // `quality` is clamped to 0…1. A failure carries only the detail (libjpeg's message); the
    // caller words it for the user.
    static Result<QByteArray> write(const Bitmap &image, double dotsPerInch, double quality);
};
