#pragma once

#include "Bitmap.h"
#include "Result.h"

#include <QByteArray>

// A captured image made small for a notification, as PNG.
class ImageThumbnail
{
public:
    static Result<QByteArray> png(const Bitmap &image);
};
