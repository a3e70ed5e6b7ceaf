#pragma once

#include "SnapLevel.h"
#include "WindowListEntry.h"

#include <QList>
#include <QPointF>

#include <optional>

// The stack of targets under the pointer, smallest first and always ending with the display,
// and the level the overlay offers first. Everything here is in global points, top-left origin.
class SnapLevels
{
public:
    static constexpr double minimumElementWidth = 40.0;
    static constexpr double minimumElementHeight = 24.0;
    static constexpr double sameEdgeTolerance = 2.0;
    static constexpr double preferredMinimumWidth = 120.0;
    static constexpr double preferredMinimumHeight = 80.0;

    // Element frames as the finder reported them for `windowFrame`: clipped to the window,
    // tiny ones and near-copies (of the window or of each other) dropped, smallest first.
    static QList<SnapLevel> elementLevels(const QList<QRectF> &elementFrames, const QRectF &windowFrame);

    static QList<SnapLevel> makeLevels(
        const QList<SnapLevel> &elements, const std::optional<SnapWindow> &window, const QRectF &displayRect);

    // The smallest element of useful size, else the window (or the display when there is none).
    static qsizetype preferredIndex(const QList<SnapLevel> &levels);

    // The frontmost window containing `point` (left and top edges inside, right and bottom out).
    static std::optional<SnapWindow> windowAt(const QList<SnapWindow> &windows, const QPointF &point);

    static bool contains(const QRectF &rect, const QPointF &point);
};
