#pragma once

#include "Error.h"
#include "Result.h"
#include "VideoFrame.h"

#include <QRect>
#include <QtGlobal>

#include <functional>
#include <memory>
#include <optional>

// What a frame source reads: a rectangle of the screen in device pixels, and the window it
// follows the life of, if it records one.
struct FrameSourceRequest
{
    QRect pixelRect;
    std::optional<quint32> windowId;
    bool showsCursor = false;
};

// Delivers a recording's frames, at most 30 a second, on a thread of its own.
class FrameSource
{
public:
    using FrameHandler = std::function<void(VideoFrame frame)>;
    using StopHandler = std::function<void(const Error &why)>;

    virtual ~FrameSource() = default;

    // Both handlers are called on the source's thread. `stopped` is called at most once, when
    // the source ends by itself (the window closed, the display went, the server failed).
    virtual Result<void> start(FrameHandler frame, StopHandler stopped) = 0;
    // Returns once no handler runs any more, and none will.
    virtual void stop() = 0;
};

using FrameSourceFactory = std::function<Result<std::unique_ptr<FrameSource>>(const FrameSourceRequest &request)>;
