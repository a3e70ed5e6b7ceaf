#pragma once

#include "Bitmap.h"
#include "Result.h"

#include <QByteArray>

// A PNG file of a bitmap: 8-bit RGB, or RGBA when the bitmap has alpha; no interlacing; the
// resolution in a pHYs chunk.
class PngWriter
{
public:
    // A failure carries only the detail; the caller words it for the user.
    static Result<QByteArray> write(const Bitmap &image, double dotsPerInch);
};
