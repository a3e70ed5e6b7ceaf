#pragma once

#include "Bitmap.h"
#include "Result.h"

#include <QRect>

#include <xcb/xcb.h>

#include <memory>

class X11Connection;

// Reads device pixels from a drawable (the root window, a window's composited pixmap) into a
// Bitmap without a copy: the image is the GetImage reply, or the MIT-SHM segment the server
// wrote into.
//
// Which is faster depends on reuse. A fresh 4K segment costs the server ~8000 page faults
// (about 40 ms on a virtual machine) before it writes a pixel, more than GetImage's trip
// through the socket; a segment that is reused costs nothing, and the grab takes ~4 ms.
class X11Grabber
{
public:
    enum class Pattern {
        oneShot, // one grab and done (the command line): GetImage
        repeated, // grab after grab (overlay, recording): shared memory, segments reused
    };

    X11Grabber(std::shared_ptr<X11Connection> connection, Pattern pattern);
    ~X11Grabber();

    // `rect` may reach outside the drawable (`drawableSize`); what lies outside is black.
    Result<Bitmap> grab(xcb_drawable_t drawable, const QRect &rect, const QSize &drawableSize,
        Bitmap::Alpha alpha = Bitmap::Alpha::ignored);

private:
    Result<Bitmap> grabInside(xcb_drawable_t drawable, const QRect &rect, Bitmap::Alpha alpha);
    Result<Bitmap> grabShm(xcb_drawable_t drawable, const QRect &rect, Bitmap::Alpha alpha);
    Result<Bitmap> grabPlain(xcb_drawable_t drawable, const QRect &rect, Bitmap::Alpha alpha);

    struct SegmentPool;

    std::shared_ptr<X11Connection> m_connection;
    bool m_useShm;
    std::shared_ptr<SegmentPool> m_pool;
};
