#pragma once

#include "Bitmap.h"
#include "Result.h"

#include <QRect>

#include <xcb/xcb.h>

#include <memory>

class X11Connection;

// Reads device pixels from a drawable (the root window, a window's composited pixmap). Through
// MIT-SHM the server writes straight into a segment that becomes the Bitmap's memory, so the
// grab is the image; without SHM (a remote display) the GetImage reply is the image.
class X11Grabber
{
public:
    explicit X11Grabber(std::shared_ptr<X11Connection> connection);

    // `rect` may reach outside the drawable (`drawableSize`); what lies outside is black.
    Result<Bitmap> grab(xcb_drawable_t drawable, const QRect &rect, const QSize &drawableSize,
        Bitmap::Alpha alpha = Bitmap::Alpha::ignored);

private:
    Result<Bitmap> grabInside(xcb_drawable_t drawable, const QRect &rect, Bitmap::Alpha alpha);
    Result<Bitmap> grabShm(xcb_drawable_t drawable, const QRect &rect, Bitmap::Alpha alpha);
    Result<Bitmap> grabPlain(xcb_drawable_t drawable, const QRect &rect, Bitmap::Alpha alpha);

    std::shared_ptr<X11Connection> m_connection;
    bool m_useShm;
};
