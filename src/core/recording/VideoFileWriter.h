#pragma once

#include "Result.h"
#include "VideoEncodingPlan.h"
#include "VideoFrame.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>

// Writes the frames of one recording into an MP4 file. Every call after creation comes from one
// thread at a time (the recording's serial queue); no call blocks on the next frame.
class VideoFileWriter
{
public:
    virtual ~VideoFileWriter() = default;

    // Offers one frame. The first accepted frame starts the file and its time becomes zero;
    // a frame the writer cannot take now (not started, failed, busy) is dropped. An idle frame
    // (no image) says that nothing changed up to its time.
    virtual void append(const VideoFrame &frame) = 0;

    // Ends the file, the last frame lasting until `endTime` when that is later than it. No
    // frame accepted: the file is removed and RecordingError::empty returned. Returns the path.
    virtual Result<QString> finish(std::optional<RecordingClock::time_point> endTime) = 0;

    // Abandons the file and removes it.
    virtual void cancel() = 0;

    // Frames accepted so far.
    virtual qint64 framesWritten() const = 0;
    // Why the recording should end now: the disk is close to full, or a write failed (the
    // owner finishes to keep what was written). None while all is well.
    virtual std::optional<Error> stopReason() const = 0;
};

// Makes a writer for a new file at `path` (an existing file there is replaced).
using VideoFileWriterFactory
    = std::function<Result<std::unique_ptr<VideoFileWriter>>(const QString &path, const VideoEncodingPlan &plan)>;
