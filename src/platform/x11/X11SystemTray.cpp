#include "X11SystemTray.h"

#include "X11Connection.h"

#include <QByteArray>
#include <QList>
#include <QPoint>

#include <cstring>
#include <utility>

std::optional<quint32> X11SystemTray::foreground(const X11Connection &connection, const QRect &item)
{
    xcb_connection_t *x = connection.get();
    // The tray of the default screen; Qorvel's item lives there.
    const QByteArray selection = QByteArrayLiteral("_NET_SYSTEM_TRAY_S0");
    const XcbReply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(x, xcb_get_selection_owner(x, connection.atom(selection.constData())), nullptr));
    if (!owner || owner->owner == XCB_NONE)
        return std::nullopt;

    // Four colours of three 16-bit channels each: normal (the text), error, warning, success.
    const XcbReply<xcb_get_property_reply_t> colours(xcb_get_property_reply(x,
        xcb_get_property(x, 0, owner->owner, connection.atom("_NET_SYSTEM_TRAY_COLORS"), XCB_ATOM_CARDINAL, 0, 12),
        nullptr));
    if (colours && colours->format == 32 && xcb_get_property_value_length(colours.get()) >= int(3 * sizeof(quint32))) {
        const auto *channels = static_cast<const quint32 *>(xcb_get_property_value(colours.get()));
        const auto eightBits = [](quint32 channel) { return (channel >> 8) & 0xff; };
        return (eightBits(channels[0]) << 16) | (eightBits(channels[1]) << 8) | eightBits(channels[2]);
    }
    return contrastingWith(panelBehind(connection, item));
}

std::optional<quint32> X11SystemTray::panelBehind(const X11Connection &connection, const QRect &item)
{
    if (item.isEmpty())
        return std::nullopt;
    // Most trays do not say what colour they are. The picture leaves its corners empty, so the
    // panel shows there: the colour most corners share is taken for it.
    xcb_connection_t *x = connection.get();
    QList<quint32> corners;
    for (const QPoint corner : {item.topLeft(), item.topRight(), item.bottomLeft(), item.bottomRight()}) {
        const XcbReply<xcb_get_image_reply_t> pixel(xcb_get_image_reply(x,
            xcb_get_image(
                x, XCB_IMAGE_FORMAT_Z_PIXMAP, connection.root(), int16_t(corner.x()), int16_t(corner.y()), 1, 1, ~0U),
            nullptr));
        if (pixel && xcb_get_image_data_length(pixel.get()) >= 4) {
            quint32 value = 0;
            std::memcpy(&value, xcb_get_image_data(pixel.get()), sizeof value);
            corners << (value & 0xffffff);
        }
    }
    std::optional<quint32> common;
    qsizetype most = 0;
    for (const quint32 corner : std::as_const(corners)) {
        if (corners.count(corner) > most) {
            most = corners.count(corner);
            common = corner;
        }
    }
    return common;
}

std::optional<quint32> X11SystemTray::contrastingWith(std::optional<quint32> background)
{
    if (!background)
        return std::nullopt;
    const quint32 rgb = *background;
    // Relative luminance by the sRGB weights, without linearising: close enough to pick a side.
    const double luminance = 0.2126 * ((rgb >> 16) & 0xff) + 0.7152 * ((rgb >> 8) & 0xff) + 0.0722 * (rgb & 0xff);
    return luminance > 140 ? 0x202020U : 0xe6e6e6U;
}
