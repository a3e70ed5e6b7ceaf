#pragma once

#include "Bitmap.h"
#include "Result.h"

#include <QByteArray>
#include <QString>

// The small picture a notification shows, as PNG bytes that fit thumbnailSize().
class Thumbnailer
{
public:
    virtual ~Thumbnailer() = default;
    virtual Result<QByteArray> imageThumbnail(const Bitmap &image) = 0;
    // The recording's first frame.
    virtual Result<QByteArray> videoThumbnail(const QString &file) = 0;
};
