#include "SnapLevels.h"

#include <algorithm>
#include <cmath>

namespace {

bool nearlyEqual(const QRectF &a, const QRectF &b)
{
    const double tolerance = SnapLevels::sameEdgeTolerance;
    return std::abs(a.left() - b.left()) <= tolerance && std::abs(a.top() - b.top()) <= tolerance
        && std::abs(a.right() - b.right()) <= tolerance && std::abs(a.bottom() - b.bottom()) <= tolerance;
}

double area(const QRectF &rect)
{
    return rect.width() * rect.height();
}

} // namespace

QList<SnapLevel> SnapLevels::elementLevels(const QList<QRectF> &elementFrames, const QRectF &windowFrame)
{
    QList<QRectF> kept;
    for (const QRectF &frame : elementFrames) {
        const QRectF clipped = frame.normalized().intersected(windowFrame.normalized());
        if (clipped.isEmpty())
            continue;
        if (clipped.width() < minimumElementWidth || clipped.height() < minimumElementHeight)
            continue;
        if (nearlyEqual(clipped, windowFrame))
            continue;
        if (std::any_of(kept.cbegin(), kept.cend(), [&](const QRectF &other) { return nearlyEqual(clipped, other); }))
            continue;
        kept << clipped;
    }
    std::stable_sort(kept.begin(), kept.end(), [](const QRectF &a, const QRectF &b) { return area(a) < area(b); });

    QList<SnapLevel> levels;
    levels.reserve(kept.size());
    for (const QRectF &frame : std::as_const(kept))
        levels << SnapLevel{SnapLevel::Element{}, frame};
    return levels;
}

QList<SnapLevel> SnapLevels::makeLevels(
    const QList<SnapLevel> &elements, const std::optional<SnapWindow> &window, const QRectF &displayRect)
{
    QList<SnapLevel> levels = elements;
    if (window)
        levels << SnapLevel{SnapLevel::Window{window->id}, window->frame};
    levels << SnapLevel{SnapLevel::Display{}, displayRect};
    return levels;
}

qsizetype SnapLevels::preferredIndex(const QList<SnapLevel> &levels)
{
    for (qsizetype i = 0; i < levels.size(); ++i) {
        const SnapLevel &level = levels.at(i);
        if (level.isElement() && level.frame.width() >= preferredMinimumWidth
            && level.frame.height() >= preferredMinimumHeight)
            return i;
    }
    for (qsizetype i = 0; i < levels.size(); ++i) {
        if (!levels.at(i).isElement())
            return i;
    }
    return 0;
}

bool SnapLevels::contains(const QRectF &rect, const QPointF &point)
{
    const QRectF r = rect.normalized();
    return point.x() >= r.left() && point.x() < r.right() && point.y() >= r.top() && point.y() < r.bottom();
}

std::optional<SnapWindow> SnapLevels::windowAt(const QList<SnapWindow> &windows, const QPointF &point)
{
    for (const SnapWindow &window : windows) {
        if (contains(window.frame, point))
            return window;
    }
    return std::nullopt;
}
