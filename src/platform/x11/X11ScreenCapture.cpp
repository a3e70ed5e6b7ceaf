#include "X11ScreenCapture.h"

#include "X11Connection.h"

#include <xcb/composite.h>
#include <xcb/randr.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

QList<xcb_window_t> windowListProperty(const X11Connection &x, xcb_window_t window, xcb_atom_t property)
{
    const auto cookie = xcb_get_property(x.get(), 0, window, property, XCB_ATOM_WINDOW, 0, 1 << 16);
    const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(x.get(), cookie, nullptr));
    QList<xcb_window_t> windows;
    if (!reply || reply->format != 32 || reply->type != XCB_ATOM_WINDOW)
        return windows;
    const auto *ids = static_cast<const xcb_window_t *>(xcb_get_property_value(reply.get()));
    const int count = xcb_get_property_value_length(reply.get()) / 4;
    windows.reserve(count);
    for (int i = 0; i < count; ++i)
        windows << ids[i];
    return windows;
}

qint64 cardinal(xcb_get_property_reply_t *reply)
{
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply) < 4)
        return 0;
    return *static_cast<const uint32_t *>(xcb_get_property_value(reply));
}

int roundAwayFromZero(double value)
{
    return int(std::round(value));
}

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

QPointF X11ScreenCapture::toPoints(const QList<ScreenDisplay> &displays, const QPointF &pixel)
{
    for (const ScreenDisplay &display : displays) {
        if (QRectF(display.pixelFrame).contains(pixel))
            return display.frame.topLeft() + (pixel - QPointF(display.pixelFrame.topLeft())) / display.scale;
    }
    return pixel; // off every display: no scale applies
}

QList<X11ScreenCapture::ClientWindow> X11ScreenCapture::clientWindows()
{
    const X11Connection &x = *m_connection;
    xcb_connection_t *c = x.get();

    // The window manager's stacking list is bottom to top; without one, the root's children are.
    QList<xcb_window_t> stack = windowListProperty(x, x.root(), x.atom("_NET_CLIENT_LIST_STACKING"));
    if (stack.isEmpty()) {
        const XcbReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, x.root()), nullptr));
        if (tree) {
            const xcb_window_t *children = xcb_query_tree_children(tree.get());
            stack = QList<xcb_window_t>(children, children + xcb_query_tree_children_length(tree.get()));
        }
    }
    std::reverse(stack.begin(), stack.end());

    const xcb_atom_t pidAtom = x.atom("_NET_WM_PID");
    QList<ClientWindow> windows;
    for (const xcb_window_t client : std::as_const(stack)) {
        // The frame is the client's ancestor that is a child of the root: what the user sees.
        xcb_window_t frame = client;
        for (int depth = 0; depth < 8; ++depth) {
            const XcbReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, frame), nullptr));
            if (!tree || tree->parent == x.root() || tree->parent == XCB_WINDOW_NONE)
                break;
            frame = tree->parent;
        }
        const auto attributesCookie = xcb_get_window_attributes(c, frame);
        const auto geometryCookie = xcb_get_geometry(c, frame);
        const auto pidCookie = xcb_get_property(c, 0, client, pidAtom, XCB_ATOM_CARDINAL, 0, 1);
        const XcbReply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, attributesCookie, nullptr));
        const XcbReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, geometryCookie, nullptr));
        const XcbReply<xcb_get_property_reply_t> pid(xcb_get_property_reply(c, pidCookie, nullptr));
        if (!attributes || !geometry || attributes->map_state != XCB_MAP_STATE_VIEWABLE)
            continue;
        const int border = geometry->border_width;
        windows << ClientWindow{client, frame,
            QRect(geometry->x, geometry->y, geometry->width + 2 * border, geometry->height + 2 * border),
            cardinal(pid.get())};
    }
    return windows;
}

Result<ScreenContent> X11ScreenCapture::shareableContent()
{
    ScreenContent content;
    content.displays = displays();
    m_lastWindows.clear();
    for (const ClientWindow &window : clientWindows()) {
        const QPointF topLeft = toPoints(content.displays, window.pixelFrame.topLeft());
        const double scale = [&] {
            for (const ScreenDisplay &display : std::as_const(content.displays)) {
                if (display.pixelFrame.contains(window.pixelFrame.topLeft()))
                    return display.scale;
            }
            return 1.0;
        }();
        content.windows << ScreenWindow{
            window.client, QRectF(topLeft, QSizeF(window.pixelFrame.size()) / scale), window.pid};
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
    const QPoint origin = display.pixelFrame.topLeft()
        + QPoint(
            roundAwayFromZero(areaInPoints.x() * display.scale), roundAwayFromZero(areaInPoints.y() * display.scale));
    const QRect pixels(origin, QSize(int(size.width), int(size.height)));

    if (m_prefetchedRoot.valid()) {
        // Used once: a later grab must show the screen as it is then.
        const std::shared_future<Result<Bitmap>> root = std::exchange(m_prefetchedRoot, {});
        const Result<Bitmap> &image = root.get();
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
        X11Grabber grabber(*connection, X11Grabber::Pattern::oneShot);
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

Result<Bitmap> X11ScreenCapture::grabWindow(const ScreenWindow &window, double scale, PixelSize size, WindowShadow)
{
    Q_UNUSED(scale);
    const auto found = m_lastWindows.constFind(window.id);
    if (found == m_lastWindows.cend())
        return Error{QStringLiteral("The window was closed or hidden during the selection."), QString()};
    const ClientWindow &client = *found;
    const QSize pixels(int(size.width), int(size.height));

    // With a compositing manager every top-level window has its own pixmap: the window alone,
    // whatever covers it. Without one, only its visible pixels exist.
    if (m_connection->hasComposite() && compositorRuns()) {
        xcb_connection_t *c = m_connection->get();
        const xcb_pixmap_t pixmap = xcb_generate_id(c);
        const XcbReply<xcb_generic_error_t> error(
            xcb_request_check(c, xcb_composite_name_window_pixmap_checked(c, client.frame, pixmap)));
        if (!error) {
            Result<Bitmap> image = m_grabber.grab(
                pixmap, QRect(QPoint(0, 0), pixels), client.pixelFrame.size(), Bitmap::Alpha::premultiplied);
            xcb_free_pixmap(c, pixmap);
            return image;
        }
    }
    const xcb_screen_t *screen = m_connection->screen();
    return m_grabber.grab(m_connection->root(), QRect(client.pixelFrame.topLeft(), pixels),
        QSize(screen->width_in_pixels, screen->height_in_pixels));
}

std::optional<QPointF> X11ScreenCapture::pointerPosition()
{
    xcb_connection_t *c = m_connection->get();
    const XcbReply<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(c, xcb_query_pointer(c, m_connection->root()), nullptr));
    if (!pointer)
        return std::nullopt;
    return toPoints(displays(), QPointF(pointer->root_x, pointer->root_y));
}
