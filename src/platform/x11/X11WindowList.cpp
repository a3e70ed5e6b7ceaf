#include "X11WindowList.h"

#include "ScreenContent.h"
#include "X11Connection.h"

#include <xcb/res.h>

#include <algorithm>

namespace {

struct Atoms
{
    explicit Atoms(const X11Connection &x)
        : stacking(x.atom("_NET_CLIENT_LIST_STACKING"))
        , pid(x.atom("_NET_WM_PID"))
        , opacity(x.atom("_NET_WM_WINDOW_OPACITY"))
        , frameExtents(x.atom("_GTK_FRAME_EXTENTS"))
        , type(x.atom("_NET_WM_WINDOW_TYPE"))
        , state(x.atom("_NET_WM_STATE"))
        , hidden(x.atom("_NET_WM_STATE_HIDDEN"))
        , above(x.atom("_NET_WM_STATE_ABOVE"))
        , desktop(x.atom("_NET_WM_WINDOW_TYPE_DESKTOP"))
        , dock(x.atom("_NET_WM_WINDOW_TYPE_DOCK"))
        , floating{x.atom("_NET_WM_WINDOW_TYPE_MENU"), x.atom("_NET_WM_WINDOW_TYPE_DROPDOWN_MENU"),
              x.atom("_NET_WM_WINDOW_TYPE_POPUP_MENU"), x.atom("_NET_WM_WINDOW_TYPE_TOOLTIP"),
              x.atom("_NET_WM_WINDOW_TYPE_NOTIFICATION"), x.atom("_NET_WM_WINDOW_TYPE_COMBO"),
              x.atom("_NET_WM_WINDOW_TYPE_DND")}
    {
    }

    xcb_atom_t stacking, pid, opacity, frameExtents, type, state, hidden, above, desktop, dock;
    xcb_atom_t floating[7];
};

QList<uint32_t> cardinals(xcb_get_property_reply_t *reply)
{
    QList<uint32_t> values;
    if (!reply || reply->format != 32)
        return values;
    const auto *data = static_cast<const uint32_t *>(xcb_get_property_value(reply));
    const int count = xcb_get_property_value_length(reply) / 4;
    for (int i = 0; i < count; ++i)
        values << data[i];
    return values;
}

// The layers the selection filter expects: ordinary windows 0, keep-above 3, docks and panels
// 20, menus, tooltips and notifications 25, the desktop below everything.
qint64 layerOf(const Atoms &atoms, const QList<uint32_t> &types, const QList<uint32_t> &states)
{
    for (const uint32_t type : types) {
        if (type == atoms.desktop)
            return -1;
        if (type == atoms.dock)
            return 20;
        if (std::find(std::begin(atoms.floating), std::end(atoms.floating), type) != std::end(atoms.floating))
            return 25;
    }
    return states.contains(atoms.above) ? 3 : 0;
}

xcb_get_property_cookie_t property(
    xcb_connection_t *c, xcb_window_t window, xcb_atom_t atom, xcb_atom_t type, uint32_t length = 64)
{
    return xcb_get_property(c, 0, window, atom, type, 0, length);
}

} // namespace

X11WindowList::X11WindowList(std::shared_ptr<X11Connection> connection)
    : m_connection(std::move(connection))
{
}

QList<X11WindowList::Window> X11WindowList::windows() const
{
    const X11Connection &x = *m_connection;
    xcb_connection_t *c = x.get();
    const Atoms atoms(x);

    // Bottom to top, from the window manager; without one, the root's children are the windows.
    const XcbReply<xcb_get_property_reply_t> stackReply(
        xcb_get_property_reply(c, property(c, x.root(), atoms.stacking, XCB_ATOM_WINDOW, 1 << 16), nullptr));
    QList<uint32_t> stack = cardinals(stackReply.get());
    if (stack.isEmpty()) {
        const XcbReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, x.root()), nullptr));
        if (tree) {
            const xcb_window_t *children = xcb_query_tree_children(tree.get());
            stack = QList<uint32_t>(children, children + xcb_query_tree_children_length(tree.get()));
        }
    }
    std::reverse(stack.begin(), stack.end());

    QList<Window> windows;
    for (const xcb_window_t client : std::as_const(stack)) {
        xcb_window_t frame = client;
        for (int depth = 0; depth < 8; ++depth) {
            const XcbReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, frame), nullptr));
            if (!tree || tree->parent == x.root() || tree->parent == XCB_WINDOW_NONE)
                break;
            frame = tree->parent;
        }

        // Every question about this window in one round trip.
        const auto attributesCookie = xcb_get_window_attributes(c, frame);
        const auto geometryCookie = xcb_get_geometry(c, frame);
        const auto pidCookie = property(c, client, atoms.pid, XCB_ATOM_CARDINAL, 1);
        const auto opacityCookie = property(c, client, atoms.opacity, XCB_ATOM_CARDINAL, 1);
        const auto extentsCookie = property(c, client, atoms.frameExtents, XCB_ATOM_CARDINAL, 4);
        const auto typeCookie = property(c, client, atoms.type, XCB_ATOM_ATOM);
        const auto stateCookie = property(c, client, atoms.state, XCB_ATOM_ATOM);
        const auto classCookie = property(c, client, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 256);
        xcb_res_client_id_spec_t spec{client, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
        const auto resCookie = xcb_res_query_client_ids(c, 1, &spec);

        const XcbReply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, attributesCookie, nullptr));
        const XcbReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, geometryCookie, nullptr));
        const XcbReply<xcb_get_property_reply_t> pid(xcb_get_property_reply(c, pidCookie, nullptr));
        const XcbReply<xcb_get_property_reply_t> opacity(xcb_get_property_reply(c, opacityCookie, nullptr));
        const XcbReply<xcb_get_property_reply_t> extents(xcb_get_property_reply(c, extentsCookie, nullptr));
        const XcbReply<xcb_get_property_reply_t> type(xcb_get_property_reply(c, typeCookie, nullptr));
        const XcbReply<xcb_get_property_reply_t> state(xcb_get_property_reply(c, stateCookie, nullptr));
        const XcbReply<xcb_get_property_reply_t> windowClass(xcb_get_property_reply(c, classCookie, nullptr));
        const XcbReply<xcb_res_query_client_ids_reply_t> res(xcb_res_query_client_ids_reply(c, resCookie, nullptr));

        const QList<uint32_t> states = cardinals(state.get());
        if (!attributes || !geometry || attributes->map_state != XCB_MAP_STATE_VIEWABLE
            || states.contains(atoms.hidden))
            continue;

        Window window;
        window.client = client;
        window.frame = frame;
        const int border = geometry->border_width;
        QRect outer(geometry->x, geometry->y, geometry->width + 2 * border, geometry->height + 2 * border);
        const QList<uint32_t> margins = cardinals(extents.get()); // left, right, top, bottom
        if (margins.size() == 4) {
            window.shadowMargins = QMargins(int(margins[0]), int(margins[2]), int(margins[1]), int(margins[3]));
            outer = outer.marginsRemoved(window.shadowMargins);
        }
        window.pixelFrame = outer;
        window.layer = layerOf(atoms, cardinals(type.get()), states);
        const QList<uint32_t> alpha = cardinals(opacity.get());
        window.alpha = alpha.isEmpty() ? 1.0 : double(alpha.first()) / double(0xffffffffu);

        // The server knows the owner's PID for local clients; _NET_WM_PID is only the client's word.
        if (res) {
            for (auto it = xcb_res_query_client_ids_ids_iterator(res.get()); it.rem;
                 xcb_res_client_id_value_next(&it)) {
                if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) && it.data->length == 4) {
                    window.pid = *xcb_res_client_id_value_value(it.data);
                    break;
                }
            }
        }
        if (window.pid == 0) {
            const QList<uint32_t> pids = cardinals(pid.get());
            window.pid = pids.isEmpty() ? 0 : pids.first();
        }
        if (windowClass && xcb_get_property_value_length(windowClass.get()) > 0) {
            const char *text = static_cast<const char *>(xcb_get_property_value(windowClass.get()));
            const int length = xcb_get_property_value_length(windowClass.get());
            window.instanceName = QString::fromLocal8Bit(text, int(qstrnlen(text, uint(length))));
        }
        windows << window;
    }
    return windows;
}

const ScreenDisplay *X11WindowList::displayAt(const QList<ScreenDisplay> &displays, const QPoint &pixel)
{
    for (const ScreenDisplay &display : displays) {
        if (display.pixelFrame.contains(pixel))
            return &display;
    }
    return nullptr;
}

QRectF X11WindowList::toPoints(const QList<ScreenDisplay> &displays, const QRect &pixels)
{
    const ScreenDisplay *display = displayAt(displays, pixels.topLeft());
    if (!display)
        return QRectF(pixels); // off every display: no scale applies
    const QPointF topLeft
        = display->frame.topLeft() + QPointF(pixels.topLeft() - display->pixelFrame.topLeft()) / display->scale;
    return QRectF(topLeft, QSizeF(pixels.size()) / display->scale);
}

QList<WindowListEntry> X11WindowList::entries(const QList<Window> &windows, const QList<ScreenDisplay> &displays)
{
    QList<WindowListEntry> entries;
    entries.reserve(windows.size());
    for (const Window &window : windows) {
        entries << WindowListEntry{window.client, toPoints(displays, window.pixelFrame), window.layer, window.alpha,
            window.pid, window.instanceName};
    }
    return entries;
}
