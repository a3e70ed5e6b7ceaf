#pragma once

#include <QRectF>

#include <functional>

// What a recording shows on screen around the recorded region (global points, top-left
// origin): the 3-2-1 countdown before capturing, and the frame while it runs. The widgets
// implement it; none of it may ever be in the recorded pixels.
class RecordingOverlays
{
public:
    virtual ~RecordingOverlays() = default;

    // Shows 3, 2 and 1 for a second each, asking `stillWanted` after every tenth of a second;
    // Escape or a false answer ends it at once. `done(true)` once it ran out, `done(false)` when
    // it was cancelled; either way only after its window is off the screen, so that capturing
    // can start without it.
    virtual void runCountdown(
        const QRectF &region, std::function<bool()> stillWanted, std::function<void(bool ranOut)> done)
        = 0;
    virtual void showFrame(const QRectF &region) = 0;
    virtual void hideFrame() = 0;
};
