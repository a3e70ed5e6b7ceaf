#include "FrozenScreenCapture.h"

#include "CaptureError.h"

#include <utility>

FrozenScreenCapture::FrozenScreenCapture(
    ScreenContent content, QHash<quint32, Bitmap> displayImages, ScreenCapturePlatform &live)
    : m_content(std::move(content))
    , m_displayImages(std::move(displayImages))
    , m_live(live)
{
}

Result<Bitmap> FrozenScreenCapture::grabDisplayArea(
    const ScreenDisplay &display, const QRectF &areaInPoints, PixelSize size)
{
    const auto image = m_displayImages.constFind(display.id);
    if (image == m_displayImages.cend())
        return toError(CaptureError::displayNotFound);
    const QRect pixels(pixelOrigin(areaInPoints.topLeft(), display.scale), QSize(int(size.width), int(size.height)));
    // Outside the display there was nothing to freeze; the area is cut to what the user saw.
    return image->cropped(pixels);
}

Result<Bitmap> FrozenScreenCapture::grabWindow(
    const ScreenWindow &window, double scale, PixelSize size, WindowShadow shadow)
{
    // The live platform only grabs windows it has listed itself.
    const Result<ScreenContent> live = m_live.shareableContent();
    if (!live)
        return live.error();
    return m_live.grabWindow(window, scale, size, shadow);
}
