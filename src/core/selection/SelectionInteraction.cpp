#include "SelectionInteraction.h"

#include "PixelSize.h"

#include <QLineF>

#include <algorithm>
#include <cmath>

SelectionInteraction::SelectionInteraction(const QRectF &bounds, double scale)
    : m_bounds(bounds)
    , m_scale(scale)
{
}

QPointF SelectionInteraction::clamped(const QPointF &point) const
{
    return QPointF(std::clamp(point.x(), m_bounds.left(), m_bounds.right()),
        std::clamp(point.y(), m_bounds.top(), m_bounds.bottom()));
}

std::optional<quint32> SelectionInteraction::firstWindowId(const QList<SnapLevel> &levels)
{
    for (const SnapLevel &level : levels) {
        if (const auto *window = std::get_if<SnapLevel::Window>(&level.kind))
            return window->id;
    }
    return std::nullopt;
}

bool SelectionInteraction::setLevels(const QList<SnapLevel> &levels, qsizetype preferredIndex)
{
    if (m_dragRect || levels.isEmpty())
        return false;
    // The user's scroll position survives moves within one window (and over bare desktop), and
    // is forgotten on entering another window.
    if (firstWindowId(levels) != firstWindowId(m_levels))
        m_levelOffset = 0;
    const qsizetype index = std::clamp<qsizetype>(preferredIndex + m_levelOffset, 0, levels.size() - 1);
    if (levels == m_levels && index == m_levelIndex)
        return false;
    m_levels = levels;
    m_levelIndex = index;
    return true;
}

bool SelectionInteraction::scroll(double deltaY, bool precise, bool momentum)
{
    if (m_dragRect || m_levels.isEmpty() || momentum)
        return false;
    m_scrollAccumulator += precise ? deltaY : deltaY * notchedWheelStep;
    if (std::abs(m_scrollAccumulator) < scrollStepDistance)
        return false;
    const qsizetype step = m_scrollAccumulator > 0 ? 1 : -1;
    m_scrollAccumulator = 0;
    const qsizetype index = std::clamp<qsizetype>(m_levelIndex + step, 0, m_levels.size() - 1);
    if (index == m_levelIndex)
        return false;
    m_levelOffset += index - m_levelIndex;
    m_levelIndex = index;
    return true;
}

bool SelectionInteraction::pointerLeft()
{
    if (m_dragStart || m_levels.isEmpty())
        return false;
    m_levels.clear();
    m_levelOffset = 0;
    return true;
}

bool SelectionInteraction::press(const QPointF &point)
{
    m_dragStart = clamped(point);
    m_dragRect.reset();
    return m_levels.isEmpty();
}

bool SelectionInteraction::drag(const QPointF &point)
{
    if (!m_dragStart)
        return false;
    const QPointF p = clamped(point);
    // Below the threshold a press is still a click.
    if (!m_dragRect && QLineF(*m_dragStart, p).length() < dragThreshold)
        return false;
    m_levels.clear();

    const QRectF rect(QPointF(std::min(p.x(), m_dragStart->x()), std::min(p.y(), m_dragStart->y())),
        QSizeF(std::abs(p.x() - m_dragStart->x()), std::abs(p.y() - m_dragStart->y())));
    // What is framed is what is captured: the drag snaps outward to whole pixels.
    m_dragRect = alignedToPixels(rect, m_scale).intersected(m_bounds);
    return true;
}

SelectionInteraction::Release SelectionInteraction::release(const QPointF &point)
{
    if (!m_dragStart)
        return {};
    m_dragStart.reset();
    if (m_dragRect) {
        const PixelSize size = pixelSize(m_dragRect->size(), m_scale);
        if (size.width >= 1 && size.height >= 1)
            return {Selection(*m_dragRect), std::nullopt};
        m_dragRect.reset();
        return {std::nullopt, clamped(point)};
    }
    if (m_levelIndex >= 0 && m_levelIndex < m_levels.size()) {
        const SnapLevel &level = m_levels.at(m_levelIndex);
        return {Selection(Hover{level.kind, level.frame}), std::nullopt};
    }
    return {Selection(Hover{SnapLevel::Display{}, m_bounds}), std::nullopt};
}

SelectionInteraction::Highlight SelectionInteraction::highlight() const
{
    if (m_dragRect)
        return {*m_dragRect, false, Highlight::Border::drag};
    if (m_levelIndex >= 0 && m_levelIndex < m_levels.size()) {
        const SnapLevel &level = m_levels.at(m_levelIndex);
        const QRectF visible = level.frame.intersected(m_bounds);
        if (!visible.isEmpty()) {
            return {visible, true, level.isElement() ? Highlight::Border::element : Highlight::Border::windowOrDisplay};
        }
    }
    return {};
}

QString SelectionInteraction::sizeLabelText() const
{
    if (!m_dragRect)
        return {};
    const PixelSize size = pixelSize(m_dragRect->size(), m_scale);
    return QString::number(size.width) + QStringLiteral(" \u00d7 ") + QString::number(size.height);
}

QPointF SelectionInteraction::labelPosition(const QPointF &pointer, const QSizeF &size, const QRectF &bounds)
{
    double x = pointer.x() + labelOffset;
    if (x + size.width() > bounds.right())
        x = pointer.x() - labelOffset - size.width();
    double y = pointer.y() + labelOffset; // below the pointer
    if (y + size.height() > bounds.bottom())
        y = pointer.y() - labelOffset - size.height();
    return QPointF(x, y);
}
