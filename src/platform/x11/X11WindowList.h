#pragma once

#include "WindowListEntry.h"

#include <QList>
#include <QMargins>
#include <QRect>
#include <QString>

#include <xcb/xcb.h>

#include <memory>
#include <optional>

class X11Connection;
struct ScreenDisplay;

// The window manager's client windows as they are on screen, front to back.
class X11WindowList
{
public:
    struct Window
    {
        xcb_window_t client = 0;
        xcb_window_t frame = 0; // the client's ancestor that is a child of the root
        QRect pixelFrame; // the frame on the root, client-side shadow margins removed
        QMargins shadowMargins; // _GTK_FRAME_EXTENTS: drawn by the client, outside pixelFrame
        qint64 layer = 0;
        double alpha = 1;
        qint64 pid = 0;
        std::optional<QString> instanceName; // WM_CLASS instance
    };

    explicit X11WindowList(std::shared_ptr<X11Connection> connection);

    // Viewable, not minimised windows in stacking order, frontmost first.
    QList<Window> windows() const;

    // `windows` in global points, as the selection filters them.
    static QList<WindowListEntry> entries(const QList<Window> &windows, const QList<ScreenDisplay> &displays);

    // The display a pixel frame lies on (by its top-left corner), for its scale and origin.
    static const ScreenDisplay *displayAt(const QList<ScreenDisplay> &displays, const QPoint &pixel);
    static QRectF toPoints(const QList<ScreenDisplay> &displays, const QRect &pixels);

private:
    std::shared_ptr<X11Connection> m_connection;
};
