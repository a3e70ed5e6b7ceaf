#include "MediaThumbnailer.h"

#include "ImageThumbnail.h"
#include "ThumbnailSize.h"
#include "VideoFrameReader.h"

Result<QByteArray> MediaThumbnailer::imageThumbnail(const Bitmap &image)
{
    return ImageThumbnail::png(image);
}

Result<QByteArray> MediaThumbnailer::videoThumbnail(const QString &file)
{
    const Result<Bitmap> frame = VideoFrameReader::firstFrame(file, {thumbnailLongestSide, thumbnailLongestSide});
    if (!frame)
        return frame.error();
    return ImageThumbnail::png(*frame);
}
