#include "X11Grabber.h"

#include "X11Connection.h"

#include <QLoggingCategory>

#include <xcb/shm.h>

#include <cstring>
#include <sys/ipc.h>
#include <sys/shm.h>

Q_LOGGING_CATEGORY(lcX11Grab, "qorvel.capture.x11")

namespace {

Error grabError(const QString &detail)
{
    return Error{QStringLiteral("Couldn't read the screen."), detail};
}

// Only 32 bits per pixel in the server's little-endian order can be used as it is.
bool isUsableFormat(uint8_t depth, uint8_t bitsPerPixel, const xcb_setup_t *setup)
{
    return (depth == 24 || depth == 32) && bitsPerPixel == 32 && setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
}

uint8_t bitsPerPixelOfDepth(const xcb_setup_t *setup, uint8_t depth)
{
    for (auto formats = xcb_setup_pixmap_formats_iterator(setup); formats.rem; xcb_format_next(&formats)) {
        if (formats.data->depth == depth)
            return formats.data->bits_per_pixel;
    }
    return 0;
}

} // namespace

X11Grabber::X11Grabber(std::shared_ptr<X11Connection> connection)
    : m_connection(std::move(connection))
    , m_useShm(m_connection->hasShm())
{
}

Result<Bitmap> X11Grabber::grab(
    xcb_drawable_t drawable, const QRect &rect, const QSize &drawableSize, Bitmap::Alpha alpha)
{
    const QRect inside = rect.intersected(QRect(QPoint(0, 0), drawableSize));
    if (inside == rect)
        return grabInside(drawable, rect, alpha);

    // Part of the rectangle is off the drawable: read what is there into a black canvas.
    Bitmap canvas = Bitmap::allocate(rect.size(), alpha);
    if (inside.isEmpty())
        return canvas;
    Result<Bitmap> part = grabInside(drawable, inside, alpha);
    if (!part)
        return part;
    const QPoint offset = inside.topLeft() - rect.topLeft();
    for (int y = 0; y < part->height(); ++y) {
        std::memcpy(canvas.bits() + qsizetype(offset.y() + y) * canvas.bytesPerLine() + qsizetype(offset.x()) * 4,
            part->scanLine(y), size_t(part->width()) * 4);
    }
    return canvas;
}

Result<Bitmap> X11Grabber::grabInside(xcb_drawable_t drawable, const QRect &rect, Bitmap::Alpha alpha)
{
    if (m_useShm) {
        Result<Bitmap> image = grabShm(drawable, rect, alpha);
        if (image || !image.error().detail.startsWith(QLatin1String("shm:")))
            return image;
        // The server can't reach our memory (a remote or sandboxed display): stop trying.
        qCInfo(lcX11Grab) << "shared memory refused, using plain GetImage:" << image.error().detail;
        m_useShm = false;
    }
    return grabPlain(drawable, rect, alpha);
}

Result<Bitmap> X11Grabber::grabShm(xcb_drawable_t drawable, const QRect &rect, Bitmap::Alpha alpha)
{
    xcb_connection_t *c = m_connection->get();
    const size_t bytes = size_t(rect.width()) * size_t(rect.height()) * 4;
    const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    if (id < 0)
        return grabError(QLatin1String("shm: shmget: ") + QString::fromLocal8Bit(std::strerror(errno)));
    void *memory = shmat(id, nullptr, SHM_RDONLY);
    if (memory == reinterpret_cast<void *>(-1)) {
        shmctl(id, IPC_RMID, nullptr);
        return grabError(QLatin1String("shm: shmat: ") + QString::fromLocal8Bit(std::strerror(errno)));
    }

    const xcb_shm_seg_t segment = xcb_generate_id(c);
    const XcbReply<xcb_generic_error_t> attachError(
        xcb_request_check(c, xcb_shm_attach_checked(c, segment, uint32_t(id), 0)));
    // Both sides are attached now (or the server refused), so the segment can be marked for
    // removal: it disappears with its last user, even if this process crashes.
    shmctl(id, IPC_RMID, nullptr);
    if (attachError) {
        shmdt(memory);
        return grabError(QLatin1String("shm: attach: ") + X11Connection::describe(attachError.get()));
    }

    // From here the Bitmap owns the segment: the server detaches when the last view goes.
    std::shared_ptr<const void> owner(memory, [connection = m_connection, segment](const void *address) {
        xcb_shm_detach(connection->get(), segment);
        xcb_flush(connection->get());
        shmdt(address);
    });

    xcb_generic_error_t *rawError = nullptr;
    const XcbReply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(c,
        xcb_shm_get_image(c, drawable, int16_t(rect.x()), int16_t(rect.y()), uint16_t(rect.width()),
            uint16_t(rect.height()), ~0u, XCB_IMAGE_FORMAT_Z_PIXMAP, segment, 0),
        &rawError));
    const XcbReply<xcb_generic_error_t> error(rawError);
    if (!reply)
        return grabError(X11Connection::describe(error.get()));
    if (!isUsableFormat(reply->depth, bitsPerPixelOfDepth(xcb_get_setup(c), reply->depth), xcb_get_setup(c)))
        return grabError(QStringLiteral("unsupported pixel format, depth %1").arg(reply->depth));

    return Bitmap(rect.size(), qsizetype(rect.width()) * 4, static_cast<const uchar *>(memory), std::move(owner),
        reply->depth == 32 ? alpha : Bitmap::Alpha::ignored);
}

Result<Bitmap> X11Grabber::grabPlain(xcb_drawable_t drawable, const QRect &rect, Bitmap::Alpha alpha)
{
    xcb_connection_t *c = m_connection->get();
    xcb_generic_error_t *rawError = nullptr;
    xcb_get_image_reply_t *raw = xcb_get_image_reply(c,
        xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, int16_t(rect.x()), int16_t(rect.y()),
            uint16_t(rect.width()), uint16_t(rect.height()), ~0u),
        &rawError);
    const XcbReply<xcb_generic_error_t> error(rawError);
    if (!raw)
        return grabError(X11Connection::describe(error.get()));
    std::shared_ptr<const void> owner(raw, XcbFree());
    if (!isUsableFormat(raw->depth, bitsPerPixelOfDepth(xcb_get_setup(c), raw->depth), xcb_get_setup(c)))
        return grabError(QStringLiteral("unsupported pixel format, depth %1").arg(raw->depth));
    return Bitmap(rect.size(), qsizetype(rect.width()) * 4, xcb_get_image_data(raw), std::move(owner),
        raw->depth == 32 ? alpha : Bitmap::Alpha::ignored);
}
