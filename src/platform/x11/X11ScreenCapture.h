#pragma once

#include "ScreenCapturePlatform.h"
#include "WindowListSource.h"
#include "X11Grabber.h"
#include "X11WindowList.h"

#include <QHash>

#include <xcb/xcb.h>

#include <functional>
#include <future>
#include <memory>

class X11Connection;

// Screen content and grabs on X11. Displays are RandR monitors (id = the monitor's first
// output, or its name atom for a monitor without outputs); windows are the window manager's
// clients, front to back, framed as the window manager frames them.
class X11ScreenCapture : public ScreenCapturePlatform, public WindowListSource
{
public:
    // Pixels per point of the monitor called `name` with `pixelFrame`: the toolkit's answer,
    // so that capture and the overlay agree on every screen.
    using ScaleOfMonitor = std::function<double(const QString &name, const QRect &pixelFrame)>;

    X11ScreenCapture(std::shared_ptr<X11Connection> connection, ScaleOfMonitor scaleOfMonitor,
        X11Grabber::Pattern grabPattern = X11Grabber::Pattern::repeated);

    Result<ScreenContent> shareableContent() override;
    Result<Bitmap> grabDisplayArea(const ScreenDisplay &display, const QRectF &areaInPoints, PixelSize size) override;
    Result<Bitmap> grabWindow(const ScreenWindow &window, double scale, PixelSize size, WindowShadow shadow) override;
    std::optional<QPointF> pointerPosition() override;
    Result<QList<WindowListEntry>> windowList() override;
    WindowListSource *windowListSource() override { return this; }

    QList<ScreenDisplay> displays();

    // Starts reading the whole screen at once, on a thread and a connection of its own. The
    // command line calls it before Qt starts, so that the grab and Qt's start-up overlap.
    static std::shared_future<Result<Bitmap>> startRootGrab();
    // Display and area grabs are cut from `root` (no copy) where it covers them, until
    // forgetPrefetchedRoot(): every display of one moment, taken by one read.
    void usePrefetchedRoot(std::shared_future<Result<Bitmap>> root) { m_prefetchedRoot = std::move(root); }
    void forgetPrefetchedRoot() { m_prefetchedRoot = {}; }

private:
    bool compositorRuns();

    std::shared_ptr<X11Connection> m_connection;
    ScaleOfMonitor m_scaleOfMonitor;
    X11Grabber m_grabber;
    // Pixel geometry of the windows in the last snapshot, for the grab that follows it.
    QHash<quint32, X11WindowList::Window> m_lastWindows;
    std::shared_future<Result<Bitmap>> m_prefetchedRoot;
};
