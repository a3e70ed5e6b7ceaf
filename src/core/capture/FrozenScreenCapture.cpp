#include "FrozenScreenCapture.h"

#include "CaptureError.h"

#include <algorithm>
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
    // Outside the display there was nothing to freeze: the area is cut to what the user saw,
    // in 64 bits, before a QRect (whose int corners would overflow) is made of it.
    const QPoint origin = pixelOrigin(areaInPoints.topLeft(), display.scale);
    const auto cut = [](qint64 from, qint64 length, int extent) {
        return std::pair{int(std::clamp<qint64>(from, 0, extent)), int(std::clamp<qint64>(from + length, 0, extent))};
    };
    const auto [left, right] = cut(origin.x(), size.width, image->width());
    const auto [top, bottom] = cut(origin.y(), size.height, image->height());
    if (left >= right || top >= bottom)
        return toError(CaptureError::emptySelection);
    return image->cropped(QRect(left, top, right - left, bottom - top));
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
