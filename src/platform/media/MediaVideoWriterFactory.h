#pragma once

#include "VideoFileWriter.h"

// Opens recording files through the media module, which is loaded on the first recording.
class MediaVideoWriterFactory
{
public:
    static Result<std::unique_ptr<VideoFileWriter>> open(const QString &path, const VideoEncodingPlan &plan);
    // Makes a recording that a dead process left unfinished a plain, playable MP4.
    static Result<void> recover(const QString &path);
};
