#pragma once

#include "Thumbnailer.h"

// Thumbnails of screenshots through the codecs, and of recordings from their first frame
// through FFmpeg. Holds no state: any thread may use it.
class MediaThumbnailer : public Thumbnailer
{
public:
    Result<QByteArray> imageThumbnail(const Bitmap &image) override;
    Result<QByteArray> videoThumbnail(const QString &file) override;
};
