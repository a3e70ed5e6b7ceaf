#include "CaptureTarget.h"

#include "CaptureError.h"
#include "ScreenCapturePlatform.h"

namespace {

bool same(const CaptureTarget::Display &a, const CaptureTarget::Display &b)
{
    return a.displayId == b.displayId;
}

bool same(const CaptureTarget::Area &a, const CaptureTarget::Area &b)
{
    return a.displayId == b.displayId && a.rectInPoints.x() == b.rectInPoints.x()
        && a.rectInPoints.y() == b.rectInPoints.y() && a.rectInPoints.width() == b.rectInPoints.width()
        && a.rectInPoints.height() == b.rectInPoints.height();
}

bool same(const CaptureTarget::Window &a, const CaptureTarget::Window &b)
{
    return a.windowId == b.windowId;
}

} // namespace

bool operator==(const CaptureTarget &a, const CaptureTarget &b)
{
    if (a.m_value.index() != b.m_value.index())
        return false;
    return std::visit(
        [&b](const auto &left) {
            using Case = std::decay_t<decltype(left)>;
            return same(left, std::get<Case>(b.m_value));
        },
        a.m_value);
}

Result<CaptureTarget> CaptureTarget::choose(std::optional<quint32> windowId, std::optional<quint32> displayId,
    std::optional<QRectF> areaInPoints, ScreenCapturePlatform &screen)
{
    if (windowId)
        return window(*windowId);
    if (displayId && !areaInPoints)
        return display(*displayId);

    Result<ScreenContent> content = screen.shareableContent();
    if (!content)
        return content.error();
    if (content->displays.isEmpty())
        return toError(CaptureError::displayNotFound);
    if (areaInPoints)
        return area(displayId.value_or(content->displays.first().id), *areaInPoints);

    if (const std::optional<QPointF> pointer = screen.pointerPosition()) {
        for (const ScreenDisplay &each : std::as_const(content->displays)) {
            if (each.frame.contains(*pointer))
                return display(each.id);
        }
    }
    return display(content->displays.first().id);
}
