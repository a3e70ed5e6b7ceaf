#include "X11SystemTray.h"

#include "X11Connection.h"

#include <QByteArray>

std::optional<quint32> X11SystemTray::foreground(const X11Connection &connection)
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
    if (!colours || colours->format != 32 || xcb_get_property_value_length(colours.get()) < int(3 * sizeof(quint32)))
        return std::nullopt;
    const auto *channels = static_cast<const quint32 *>(xcb_get_property_value(colours.get()));
    const auto eightBits = [](quint32 channel) { return (channel >> 8) & 0xff; };
    return (eightBits(channels[0]) << 16) | (eightBits(channels[1]) << 8) | eightBits(channels[2]);
}
