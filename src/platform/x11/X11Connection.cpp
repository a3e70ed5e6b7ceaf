#include "X11Connection.h"

#include <xcb/composite.h>
#include <xcb/randr.h>
#include <xcb/shm.h>

#include <cstring>

namespace {

const char *errorName(uint8_t code)
{
    static const char *const names[] = {"Success", "BadRequest", "BadValue", "BadWindow", "BadPixmap", "BadAtom",
        "BadCursor", "BadFont", "BadMatch", "BadDrawable", "BadAccess", "BadAlloc", "BadColor", "BadGC", "BadIDChoice",
        "BadName", "BadLength", "BadImplementation"};
    return code < std::size(names) ? names[code] : "extension error";
}

} // namespace

Result<std::shared_ptr<X11Connection>> X11Connection::open()
{
    int screenNumber = 0;
    xcb_connection_t *connection = xcb_connect(nullptr, &screenNumber);
    if (const int failure = xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        // libxcb found the display by DISPLAY itself; its code says what went wrong there.
        return Error{
            QStringLiteral("Couldn't connect to the X server."), QStringLiteral("xcb_connect error %1").arg(failure)};
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem; ++i)
        xcb_screen_next(&screens);
    if (!screens.rem) {
        xcb_disconnect(connection);
        return Error{QStringLiteral("Couldn't connect to the X server."), QStringLiteral("no such screen")};
    }
    return std::shared_ptr<X11Connection>(new X11Connection(connection, screens.data));
}

X11Connection::X11Connection(xcb_connection_t *connection, xcb_screen_t *screen)
    : m_connection(connection)
    , m_screen(screen)
{
    // Ask for every extension at once; the replies come back in one round trip.
    const auto shmCookie = xcb_shm_query_version(m_connection);
    const auto randrCookie = xcb_randr_query_version(m_connection, 1, 5);
    const auto compositeCookie = xcb_composite_query_version(m_connection, 0, 4);

    const XcbReply<xcb_shm_query_version_reply_t> shm(xcb_shm_query_version_reply(m_connection, shmCookie, nullptr));
    m_hasShm = shm != nullptr;
    const XcbReply<xcb_randr_query_version_reply_t> randr(
        xcb_randr_query_version_reply(m_connection, randrCookie, nullptr));
    m_hasRandrMonitors = randr && (randr->major_version > 1 || randr->minor_version >= 5);
    const XcbReply<xcb_composite_query_version_reply_t> composite(
        xcb_composite_query_version_reply(m_connection, compositeCookie, nullptr));
    m_hasComposite = composite && (composite->major_version > 0 || composite->minor_version >= 2);
}

X11Connection::~X11Connection()
{
    xcb_disconnect(m_connection);
}

xcb_atom_t X11Connection::atom(const char *name) const
{
    const auto cookie = xcb_intern_atom(m_connection, 0, uint16_t(std::strlen(name)), name);
    const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

QString X11Connection::describe(const xcb_generic_error_t *error)
{
    if (!error)
        return QStringLiteral("no reply");
    return QStringLiteral("%1 (error %2, request %3)")
        .arg(QLatin1String(errorName(error->error_code)))
        .arg(error->error_code)
        .arg(error->major_code);
}
