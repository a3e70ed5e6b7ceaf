#include "X11ScreenCapture.h"

#include "X11Connection.h"

#include <xcb/composite.h>
#include <xcb/randr.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

} // namespace

X11ScreenCapture::X11ScreenCapture(
    std::shared_ptr<X11Connection> connection, ScaleOfMonitor scaleOfMonitor, X11Grabber::Pattern grabPattern)
    : m_connection(std::move(connection))
    , m_scaleOfMonitor(std::move(scaleOfMonitor))
    , m_grabber(m_connection, grabPattern)
{
}

QList<ScreenDisplay> X11ScreenCapture::displays()
{
    const X11Connection &x = *m_connection;
    QList<ScreenDisplay> displays;
    const auto screenDisplay = [this](quint32 id, const QRect &pixels, const QString &name) {
        const double scale = m_scaleOfMonitor ? m_scaleOfMonitor(name, pixels) : 1.0;
        return ScreenDisplay{id, QRectF(pixels.topLeft(), QSizeF(pixels.size()) / scale), scale, pixels, name};
    };

    if (x.hasRandrMonitors()) {
        const XcbReply<xcb_randr_get_monitors_reply_t> reply(
            xcb_randr_get_monitors_reply(x.get(), xcb_randr_get_monitors(x.get(), x.root(), 1), nullptr));
        if (reply) {
            QList<std::pair<xcb_randr_monitor_info_t, xcb_get_atom_name_cookie_t>> monitors;
            for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem;
                 xcb_randr_monitor_info_next(&it))
                monitors.append({*it.data, xcb_get_atom_name(x.get(), it.data->name)});
            for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem;
                 xcb_randr_monitor_info_next(&it)) {
                const xcb_randr_monitor_info_t &monitor = *it.data;
                const auto cookie = monitors.at(displays.size()).second;
                const XcbReply<xcb_get_atom_name_reply_t> name(xcb_get_atom_name_reply(x.get(), cookie, nullptr));
                const QString nameText = name
                    ? QString::fromLatin1(xcb_get_atom_name_name(name.get()), xcb_get_atom_name_name_length(name.get()))
                    : QString();
                const quint32 id
                    = monitor.nOutput > 0 ? *xcb_randr_monitor_info_outputs(it.data) : quint32(monitor.name);
                ScreenDisplay display
                    = screenDisplay(id, QRect(monitor.x, monitor.y, monitor.width, monitor.height), nameText);
                if (monitor.primary)
                    displays.prepend(display);
                else
                    displays.append(display);
            }
        }
    }
    if (displays.isEmpty()) {
        // No RandR monitors (an old or minimal server): the whole root is the one display.
        const xcb_screen_t *screen = x.screen();
        displays << screenDisplay(
            0, QRect(0, 0, screen->width_in_pixels, screen->height_in_pixels), QStringLiteral("screen"));
    }
    return displays;
}

Result<ScreenContent> X11ScreenCapture::shareableContent()
{
    ScreenContent content;
    content.displays = displays();
    m_lastWindows.clear();
    for (const X11WindowList::Window &window : X11WindowList(m_connection).windows()) {
        content.windows << ScreenWindow{
            window.client, X11WindowList::toPoints(content.displays, window.pixelFrame), window.pid};
        m_lastWindows.insert(window.client, window);
        if (window.pid > 0
            && std::none_of(content.applications.cbegin(), content.applications.cend(),
                [&](const ScreenApplication &app) { return app.pid == window.pid; }))
            content.applications << ScreenApplication{window.pid};
    }
    return content;
}

Result<Bitmap> X11ScreenCapture::grabDisplayArea(
    const ScreenDisplay &display, const QRectF &areaInPoints, PixelSize size)
{
    const QPoint origin = display.pixelFrame.topLeft() + pixelOrigin(areaInPoints.topLeft(), display.scale);
    const QRect pixels(origin, QSize(int(size.width), int(size.height)));

    if (m_prefetchedRoot.valid()) {
        const Result<Bitmap> &image = m_prefetchedRoot.get();
        if (image && QRect(QPoint(0, 0), image->size()).contains(pixels))
            return image->cropped(pixels);
    }
    const xcb_screen_t *screen = m_connection->screen();
    return m_grabber.grab(m_connection->root(), pixels, QSize(screen->width_in_pixels, screen->height_in_pixels));
}

std::shared_future<Result<Bitmap>> X11ScreenCapture::startRootGrab()
{
    return std::async(std::launch::async, []() -> Result<Bitmap> {
        Result<std::shared_ptr<X11Connection>> connection = X11Connection::open();
        if (!connection)
            return connection.error();
        const xcb_screen_t *screen = (*connection)->screen();
        const QSize size(screen->width_in_pixels, screen->height_in_pixels);
        // Shared memory even for this one grab: the server copies the frame straight into it
        // instead of streaming 33 MB through the socket while Qt starts beside it, which
        // measured faster and steadier at 4K (136 ± 18 ms against 163–202 ± 50 for JPEG).
        X11Grabber grabber(*connection, X11Grabber::Pattern::repeated);
        return grabber.grab((*connection)->root(), QRect(QPoint(0, 0), size), size);
    }).share();
}

bool X11ScreenCapture::compositorRuns()
{
    xcb_connection_t *c = m_connection->get();
    const QByteArray selection = "_NET_WM_CM_S0";
    const XcbReply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        c, xcb_get_selection_owner(c, m_connection->atom(selection.constData())), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

Result<Bitmap> X11ScreenCapture::grabWindow(const ScreenWindow &window, double, PixelSize size, WindowShadow shadow)
{
    const auto found = m_lastWindows.constFind(window.id);
    if (found == m_lastWindows.cend())
        return Error{QStringLiteral("The window was closed or hidden during the selection."), QString()};
    const X11WindowList::Window &client = *found;

    // The window's own size in pixels, grown by the shadow the client draws when that is wanted.
    const QMargins margins = shadow == WindowShadow::included ? client.shadowMargins : QMargins();
    const QRect onRoot
        = QRect(client.pixelFrame.topLeft(), QSize(int(size.width), int(size.height))).marginsAdded(margins);

    // With a compositing manager every top-level window has its own pixmap: the window alone,
    // whatever covers it. Without one, only its visible pixels exist.
    if (m_connection->hasComposite() && compositorRuns()) {
        xcb_connection_t *c = m_connection->get();
        const xcb_pixmap_t pixmap = xcb_generate_id(c);
        const XcbReply<xcb_generic_error_t> error(
            xcb_request_check(c, xcb_composite_name_window_pixmap_checked(c, client.frame, pixmap)));
        if (!error) {
            const XcbReply<xcb_get_geometry_reply_t> frameGeometry(
                xcb_get_geometry_reply(c, xcb_get_geometry(c, client.frame), nullptr));
            const QPoint frameOrigin = frameGeometry ? QPoint(frameGeometry->x, frameGeometry->y) : onRoot.topLeft();
            const QSize pixmapSize = frameGeometry ? QSize(frameGeometry->width, frameGeometry->height) : onRoot.size();
            Result<Bitmap> image
                = m_grabber.grab(pixmap, onRoot.translated(-frameOrigin), pixmapSize, Bitmap::Alpha::premultiplied);
            xcb_free_pixmap(c, pixmap);
            return image;
        }
    }
    const xcb_screen_t *screen = m_connection->screen();
    return m_grabber.grab(m_connection->root(), onRoot, QSize(screen->width_in_pixels, screen->height_in_pixels));
}

std::optional<QPointF> X11ScreenCapture::pointerPosition()
{
    xcb_connection_t *c = m_connection->get();
    const XcbReply<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(c, xcb_query_pointer(c, m_connection->root()), nullptr));
    if (!pointer)
        return std::nullopt;
    return X11WindowList::toPoints(displays(), QRect(pointer->root_x, pointer->root_y, 1, 1)).topLeft();
}

Result<QList<WindowListEntry>> X11ScreenCapture::windowList()
{
    return X11WindowList::entries(X11WindowList(m_connection).windows(), displays());
}
