#pragma once

#include "Result.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

// XCB hands out replies and errors allocated with malloc; they are freed with free().
struct XcbFree
{
    void operator()(void *pointer) const { std::free(pointer); }
};
template <typename T> using XcbReply = std::unique_ptr<T, XcbFree>;

// Qorvel's own connection to the X server, so that capture works with or without a Qt GUI
// application (the command line makes none for `displays`). Shared by the adapters and by
// every Bitmap that still points into a shared-memory segment on this connection.
class X11Connection
{
public:
    // Connects to $DISPLAY.
    static Result<std::shared_ptr<X11Connection>> open();
    ~X11Connection();

    X11Connection(const X11Connection &) = delete;
    X11Connection &operator=(const X11Connection &) = delete;

    xcb_connection_t *get() const { return m_connection; }
    xcb_screen_t *screen() const { return m_screen; }
    xcb_window_t root() const { return m_screen->root; }

    bool hasShm() const { return m_hasShm; }
    bool hasRandrMonitors() const { return m_hasRandrMonitors; }
    bool hasComposite() const { return m_hasComposite; }

    xcb_atom_t atom(const char *name) const;

    // "BadMatch (error 8)": X errors as a person can look them up.
    static QString describe(const xcb_generic_error_t *error);

private:
    X11Connection(xcb_connection_t *connection, xcb_screen_t *screen);

    xcb_connection_t *m_connection;
    xcb_screen_t *m_screen;
    bool m_hasShm = false;
    bool m_hasRandrMonitors = false;
    bool m_hasComposite = false;
};
