#pragma once

#include "Bitmap.h"
#include "PixelSize.h"
#include "Result.h"
#include "ScreenContent.h"

#include <optional>

class WindowListSource;

enum class WindowShadow { excluded, included };

// The few operations still capture needs from the window system. Target resolution, size
// arithmetic and error mapping stay in StillCapture, so they run in tests against made-up
// content; an adapter only lists and grabs.
class ScreenCapturePlatform
{
public:
    virtual ~ScreenCapturePlatform() = default;

    // Displays, on-screen windows and their applications, as of now.
    virtual Result<ScreenContent> shareableContent() = 0;

    // `areaInPoints` is relative to the display's top-left corner. The result has exactly
    // `size` pixels; the adapter never scales, and the caller never crops.
    virtual Result<Bitmap> grabDisplayArea(const ScreenDisplay &display, const QRectF &areaInPoints, PixelSize size)
        = 0;

    // The window alone, at `scale` pixels per point, `size` pixels large.
    virtual Result<Bitmap> grabWindow(const ScreenWindow &window, double scale, PixelSize size, WindowShadow shadow)
        = 0;

    // Where the pointer is, in global points; none when the window system won't say.
    virtual std::optional<QPointF> pointerPosition() = 0;

    // The unfiltered window list for snapping, where the window system offers one.
    virtual WindowListSource *windowListSource() { return nullptr; }
};
