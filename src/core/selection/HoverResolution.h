#pragma once

#include "SnapLevel.h"
#include "WindowListEntry.h"

#include <QList>
#include <QPointF>

#include <optional>

// The elements last found in one window, reused while the pointer stays in it. Empty when the
// overlay opens and when it closes.
struct ElementCache
{
    quint32 windowId = 0;
    std::optional<QList<SnapLevel>> levels;

    void clear() { *this = {}; }
};

// What the overlay shows for one pointer position.
struct HoverResult
{
    QList<SnapLevel> levels; // global points
    qsizetype preferredIndex = 0;
    // The window whose elements the finder should be asked for, when there is one.
    std::optional<SnapWindow> elementRequest;
};

// Builds the snap stack as the pointer moves, and folds in the element finder's late answers.
// Every point and frame is in global points, top-left origin.
class HoverResolution
{
public:
    static HoverResult resolve(const QPointF &point, const QRectF &displayRect, const QList<SnapWindow> &windows,
        const ElementCache &cache, bool finderAvailable);

    // The finder answered for `requested`. None when the answer is stale: the pointer has left
    // that window (or every window) since it asked. Otherwise the cache is replaced and the
    // new stack returned.
    static std::optional<HoverResult> acceptElementReply(const SnapWindow &requested, const QList<QRectF> &frames,
        const QPointF &pointerNow, const QRectF &displayRect, const QList<SnapWindow> &windows, ElementCache &cache);
};
