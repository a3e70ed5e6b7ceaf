#pragma once

#include "Bitmap.h"
#include "Result.h"

#include <QSize>
#include <QString>

// Reads pictures out of video files with FFmpeg's decoders. Holds no state: any thread may call
// it, several at once.
class VideoFrameReader
{
public:
    // The first frame of the file's main video stream, turned upright as players show it and
    // scaled down to fit within `maxSize` with its shape kept (never enlarged), as opaque BGRA.
    // Fails with "Couldn't read the recording's first frame." for a missing, unreadable or
    // undecodable file; the library's reason is in Error::detail.
    static Result<Bitmap> firstFrame(const QString &path, QSize maxSize);
};
