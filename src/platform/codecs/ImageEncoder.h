#pragma once

#include "Bitmap.h"
#include "ImageFormat.h"
#include "Result.h"

#include <QByteArray>

// Turns a captured bitmap into the bytes of a PNG or JPEG file whose resolution says how many
// pixels make one point (72 dpi × scale), so viewers can show a HiDPI capture at its size on
// screen. Holds no state: any thread may call it, several at once.
class ImageEncoder
{
public:
    // `quality` (0…1) applies to JPEG only. Fails with "Couldn't encode the image." for an
    // empty bitmap or a codec error; the codec's reason is in Error::detail.
    static Result<QByteArray> encode(const Bitmap &image, ImageFormat format, double scale, double quality);
};
