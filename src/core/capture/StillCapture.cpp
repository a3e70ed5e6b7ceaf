#include "StillCapture.h"

#include "CaptureError.h"

#include <algorithm>

namespace {

template <typename List, typename Id> auto findById(const List &list, Id id) -> const typename List::value_type *
{
    const auto found = std::find_if(list.cbegin(), list.cend(), [id](const auto &entry) { return entry.id == id; });
    return found == list.cend() ? nullptr : &*found;
}

bool isEmpty(PixelSize size)
{
    return size.width < 1 || size.height < 1;
}

} // namespace

StillCapture::StillCapture(ScreenCapturePlatform &platform)
    : m_platform(platform)
{
}

double StillCapture::scaleForFrame(const QList<ScreenDisplay> &displays, const QRectF &frame)
{
    const ScreenDisplay *display = displayHolding(displays, frame);
    return display ? display->scale : 1;
}

const ScreenDisplay *StillCapture::displayHolding(const QList<ScreenDisplay> &displays, const QRectF &frame)
{
    const ScreenDisplay *holding = nullptr;
    double largestOverlap = 0;
    for (const ScreenDisplay &display : displays) {
        const QRectF overlap = display.frame.intersected(frame);
        const double area = overlap.width() * overlap.height();
        if (area > largestOverlap) {
            largestOverlap = area;
            holding = &display;
        }
    }
    return holding;
}

Result<CapturedStill> StillCapture::capture(const CaptureTarget &target, WindowShadow shadow)
{
    Result<ScreenContent> content = m_platform.shareableContent();
    if (!content)
        return content.error();

    if (const auto *window = std::get_if<CaptureTarget::Window>(&target.value())) {
        const ScreenWindow *found = findById(content->windows, window->windowId);
        if (!found)
            return toError(CaptureError::windowNotFound);
        const double scale = scaleForFrame(content->displays, found->frame);
        const PixelSize size = pixelSize(found->frame.size(), scale);
        if (isEmpty(size))
            return toError(CaptureError::emptySelection);
        Result<Bitmap> image = m_platform.grabWindow(*found, scale, size, shadow);
        if (!image)
            return image.error();
        return CapturedStill{std::move(image).value(), scale};
    }

    const bool isArea = std::holds_alternative<CaptureTarget::Area>(target.value());
    const quint32 displayId = isArea ? std::get<CaptureTarget::Area>(target.value()).displayId
                                     : std::get<CaptureTarget::Display>(target.value()).displayId;
    const ScreenDisplay *display = findById(content->displays, displayId);
    if (!display)
        return toError(CaptureError::displayNotFound);

    // An area is in the display's own point space: what lies beyond the display is not on it,
    // and is cut off before a pixel is counted or allocated.
    const QRectF whole(QPointF(0, 0), display->frame.size());
    const QRectF rect
        = isArea ? std::get<CaptureTarget::Area>(target.value()).rectInPoints.normalized().intersected(whole) : whole;
    const PixelSize size = pixelSize(rect.size(), display->scale);
    if (isEmpty(size))
        return toError(CaptureError::emptySelection);
    Result<Bitmap> image = m_platform.grabDisplayArea(*display, rect, size);
    if (!image)
        return image.error();
    return CapturedStill{std::move(image).value(), display->scale};
}
