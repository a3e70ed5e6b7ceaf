#pragma once

#include "Bitmap.h"
#include "CaptureTarget.h"
#include "Result.h"
#include "ScreenCapturePlatform.h"

// A captured image and its pixels-per-point scale, which the encoder records as the file's
// resolution so viewers show it at its on-screen size.
struct CapturedStill
{
    Bitmap image;
    double scale = 1;
};

// One-shot capture of a target at full resolution. The target is looked up first, then its
// size checked, so a zero-sized area on a vanished display reports the display.
class StillCapture
{
public:
    explicit StillCapture(ScreenCapturePlatform &platform);

    Result<CapturedStill> capture(const CaptureTarget &target, WindowShadow shadow);

    // The scale of the display that holds most of `frame`; 1 when it is on none.
    static double scaleForFrame(const QList<ScreenDisplay> &displays, const QRectF &frame);
    // The display that holds most of `frame`; none when it is on none.
    static const ScreenDisplay *displayHolding(const QList<ScreenDisplay> &displays, const QRectF &frame);

private:
    ScreenCapturePlatform &m_platform;
};
