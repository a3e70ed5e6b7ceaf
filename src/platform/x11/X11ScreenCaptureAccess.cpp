#include "X11ScreenCaptureAccess.h"

#include "X11Connection.h"

X11ScreenCaptureAccess::X11ScreenCaptureAccess(std::shared_ptr<X11Connection> connection)
    : m_connection(std::move(connection))
{
}

ScreenCaptureAccess::Probe X11ScreenCaptureAccess::probe()
{
    xcb_connection_t *c = m_connection->get();
    if (xcb_connection_has_error(c))
        return {ProbeOutcome::failed, QStringLiteral("The connection to the X server was lost.")};
    xcb_generic_error_t *rawError = nullptr;
    const XcbReply<xcb_get_image_reply_t> pixel(xcb_get_image_reply(
        c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, m_connection->root(), 0, 0, 1, 1, ~0u), &rawError));
    const XcbReply<xcb_generic_error_t> error(rawError);
    if (!pixel)
        return {ProbeOutcome::failed,
            QLatin1String("The X server refused to read the screen: ") + X11Connection::describe(error.get())};
    return {ProbeOutcome::ok, {}};
}
