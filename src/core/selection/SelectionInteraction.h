#pragma once

#include "SnapLevel.h"

#include <QList>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>

#include <optional>
#include <variant>

// What one overlay view does with the pointer, the wheel and the keys, as plain geometry: the
// view draws what this says and forwards its events here. Coordinates are the view's own
// points, top-left origin; `bounds` is the whole view (the display).
class SelectionInteraction
{
public:
    static constexpr double dragThreshold = 4.0;
    static constexpr double notchedWheelStep = 20.0;
    static constexpr double scrollStepDistance = 16.0;
    static constexpr double labelOffset = 16.0;

    struct Hover
    {
        SnapLevel::Kind kind;
        QRectF rect;
    };
    // A dragged area, or a clicked level.
    using Selection = std::variant<QRectF, Hover>;

    struct Highlight
    {
        enum class Border { none, drag, element, windowOrDisplay };
        QRectF hole; // clear of the dim; empty when the whole view stays dimmed
        bool filled = false; // the faint highlight fill over a hovered level
        Border border = Border::none;
    };

    struct Release
    {
        std::optional<Selection> selection;
        // A drag that came to nothing: the hover highlight must come back at this point.
        std::optional<QPointF> hoverAgainAt;
    };

    SelectionInteraction(const QRectF &bounds, double scale);

    // The stack under the pointer and the level to offer. False when nothing changed.
    bool setLevels(const QList<SnapLevel> &levels, qsizetype preferredIndex);
    // A wheel event; `precise` for touchpads, `momentum` for their inertial tail. True when the
    // highlighted level changed.
    bool scroll(double deltaY, bool precise, bool momentum);
    // The pointer left the view. True when the levels were dropped.
    bool pointerLeft();

    // True when the view has no stack yet and must ask for one at the (clamped) point.
    bool press(const QPointF &point);
    // True when the drag rectangle changed (the view redraws with the pointer).
    bool drag(const QPointF &point);
    Release release(const QPointF &point);

    Highlight highlight() const;
    // "w × h" in pixels while dragging; empty otherwise.
    QString sizeLabelText() const;
    // Where a label of `size` goes next to the pointer, flipped at the view's edges.
    static QPointF labelPosition(const QPointF &pointer, const QSizeF &size, const QRectF &bounds);

    const QList<SnapLevel> &levels() const { return m_levels; }
    qsizetype levelIndex() const { return m_levelIndex; }
    qsizetype levelOffset() const { return m_levelOffset; }
    bool isPressed() const { return m_dragStart.has_value(); }
    const std::optional<QRectF> &dragRect() const { return m_dragRect; }

private:
    QPointF clamped(const QPointF &point) const;
    static std::optional<quint32> firstWindowId(const QList<SnapLevel> &levels);

    QRectF m_bounds;
    double m_scale;
    QList<SnapLevel> m_levels;
    qsizetype m_levelIndex = 0;
    qsizetype m_levelOffset = 0;
    double m_scrollAccumulator = 0;
    std::optional<QPointF> m_dragStart;
    std::optional<QRectF> m_dragRect;
};
