#pragma once

#include "Result.h"

#include <QRectF>
#include <QtGlobal>

#include <optional>
#include <variant>

class ScreenCapturePlatform;

// What to capture: a whole display, an area of one display (in points, relative to the
// display's top-left corner), or one window on its own.
class CaptureTarget
{
public:
    struct Display
    {
        quint32 displayId = 0;
    };
    struct Area
    {
        quint32 displayId = 0;
        QRectF rectInPoints;
    };
    struct Window
    {
        quint32 windowId = 0;
    };

    static CaptureTarget display(quint32 displayId) { return CaptureTarget(Display{displayId}); }
    static CaptureTarget area(quint32 displayId, const QRectF &rectInPoints)
    {
        return CaptureTarget(Area{displayId, rectInPoints});
    }
    static CaptureTarget window(quint32 windowId) { return CaptureTarget(Window{windowId}); }

    // What a script names: a window, else a display or an area local to it (the primary when
    // none is named), else the display under the pointer, else the primary.
    static Result<CaptureTarget> choose(std::optional<quint32> windowId, std::optional<quint32> displayId,
        std::optional<QRectF> areaInPoints, ScreenCapturePlatform &screen);

    const std::variant<Display, Area, Window> &value() const { return m_value; }

    // Exact equality: QRectF's own operator== is fuzzy, and a target one ulp off is another target.
    friend bool operator==(const CaptureTarget &a, const CaptureTarget &b);

private:
    explicit CaptureTarget(std::variant<Display, Area, Window> value)
        : m_value(value)
    {
    }

    std::variant<Display, Area, Window> m_value;
};
