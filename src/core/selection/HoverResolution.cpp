#include "HoverResolution.h"

#include "SnapLevels.h"

namespace {

QList<SnapLevel> containing(const QList<SnapLevel> &levels, const QPointF &point)
{
    QList<SnapLevel> kept;
    for (const SnapLevel &level : levels) {
        if (SnapLevels::contains(level.frame, point))
            kept << level;
    }
    return kept;
}

HoverResult stackOf(
    const QList<SnapLevel> &elements, const std::optional<SnapWindow> &window, const QRectF &displayRect)
{
    HoverResult result;
    result.levels = SnapLevels::makeLevels(elements, window, displayRect);
    result.preferredIndex = SnapLevels::preferredIndex(result.levels);
    return result;
}

} // namespace

HoverResult HoverResolution::resolve(const QPointF &point, const QRectF &displayRect, const QList<SnapWindow> &windows,
    const ElementCache &cache, bool finderAvailable)
{
    const std::optional<SnapWindow> window = SnapLevels::windowAt(windows, point);
    QList<SnapLevel> elements;
    if (window && cache.windowId == window->id && cache.levels)
        elements = containing(*cache.levels, point);

    HoverResult result = stackOf(elements, window, displayRect);
    if (window && finderAvailable)
        result.elementRequest = window;
    return result;
}

std::optional<HoverResult> HoverResolution::acceptElementReply(const SnapWindow &requested, const QList<QRectF> &frames,
    const QPointF &pointerNow, const QRectF &displayRect, const QList<SnapWindow> &windows, ElementCache &cache)
{
    const std::optional<SnapWindow> under = SnapLevels::windowAt(windows, pointerNow);
    if (!under || under->id != requested.id)
        return std::nullopt;

    const QList<SnapLevel> elements = containing(SnapLevels::elementLevels(frames, requested.frame), pointerNow);
    cache.windowId = requested.id;
    cache.levels = elements;
    return stackOf(elements, requested, displayRect);
}
