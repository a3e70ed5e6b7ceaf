#include "X11Grabber.h"

#include "X11Connection.h"

#include <QLoggingCategory>

#include <xcb/shm.h>

#include <cstring>
#include <mutex>
#include <optional>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <vector>

Q_LOGGING_CATEGORY(lcX11Grab, "qorvel.capture.x11")

namespace {

Error grabError(const QString &detail)
{
    return Error{QStringLiteral("Couldn't read the screen."), detail};
}

// Only 32 bits per pixel in the server's little-endian order can be used as it is; an image of
// `depth` in any other layout is refused with the reason.
std::optional<Error> unusableFormat(const xcb_setup_t *setup, uint8_t depth)
{
    uint8_t bitsPerPixel = 0;
    for (auto formats = xcb_setup_pixmap_formats_iterator(setup); formats.rem; xcb_format_next(&formats)) {
        if (formats.data->depth == depth)
            bitsPerPixel = formats.data->bits_per_pixel;
    }
    if ((depth == 24 || depth == 32) && bitsPerPixel == 32 && setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST)
        return std::nullopt;
    return grabError(QStringLiteral("unsupported pixel format, depth %1").arg(depth));
}

} // namespace

// Segments whose Bitmaps are gone, kept attached for the next grab. A Bitmap may die on any
// thread (the encoder's), so the pool is locked; it outlives the grabber while views remain.
struct X11Grabber::SegmentPool
{
    struct Segment
    {
        xcb_shm_seg_t id = 0;
        void *memory = nullptr;
        size_t bytes = 0;
    };

    explicit SegmentPool(std::shared_ptr<X11Connection> x11)
        : connection(std::move(x11))
    {
    }
    ~SegmentPool()
    {
        for (const Segment &segment : spare)
            release(segment);
    }

    void release(const Segment &segment) const
    {
        xcb_shm_detach(connection->get(), segment.id);
        xcb_flush(connection->get());
        shmdt(segment.memory);
    }

    std::optional<Segment> take(size_t bytes)
    {
        const std::lock_guard lock(mutex);
        for (auto it = spare.begin(); it != spare.end(); ++it) {
            if (it->bytes >= bytes) {
                const Segment segment = *it;
                spare.erase(it);
                return segment;
            }
        }
        return std::nullopt;
    }

    void giveBack(const Segment &segment)
    {
        // Two spares cover a grab in flight while the previous image is still being encoded.
        constexpr size_t maximumSpares = 2;
        std::unique_lock lock(mutex);
        if (spare.size() < maximumSpares) {
            spare.push_back(segment);
            return;
        }
        lock.unlock();
        release(segment);
    }

    std::shared_ptr<X11Connection> connection;
    std::mutex mutex;
    std::vector<Segment> spare;
};

X11Grabber::X11Grabber(std::shared_ptr<X11Connection> connection, Pattern pattern)
    : m_connection(std::move(connection))
    , m_useShm(pattern == Pattern::repeated && m_connection->hasShm())
    , m_pool(std::make_shared<SegmentPool>(m_connection))
{
}

X11Grabber::~X11Grabber() = default;

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
    std::optional<SegmentPool::Segment> segment = m_pool->take(bytes);
    if (!segment) {
        const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
        if (id < 0)
            return grabError(QLatin1String("shm: shmget: ") + QString::fromLocal8Bit(std::strerror(errno)));
        void *memory = shmat(id, nullptr, SHM_RDONLY);
        // shmat reports failure as the address -1.
        if (memory == reinterpret_cast<void *>(-1)) { // NOLINT(performance-no-int-to-ptr)
            shmctl(id, IPC_RMID, nullptr);
            return grabError(QLatin1String("shm: shmat: ") + QString::fromLocal8Bit(std::strerror(errno)));
        }
        const xcb_shm_seg_t seg = xcb_generate_id(c);
        const XcbReply<xcb_generic_error_t> attachError(
            xcb_request_check(c, xcb_shm_attach_checked(c, seg, uint32_t(id), 0)));
        // Both sides are attached now (or the server refused), so the segment can be marked for
        // removal: it disappears with its last user, even if this process crashes.
        shmctl(id, IPC_RMID, nullptr);
        if (attachError) {
            shmdt(memory);
            return grabError(QLatin1String("shm: attach: ") + X11Connection::describe(attachError.get()));
        }
        segment = SegmentPool::Segment{seg, memory, bytes};
    }

    // From here the Bitmap owns the segment; when its last view goes, the pool takes it back.
    std::shared_ptr<const void> owner(
        segment->memory, [pool = m_pool, kept = *segment](const void *) { pool->giveBack(kept); });

    xcb_generic_error_t *rawError = nullptr;
    const XcbReply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(c,
        xcb_shm_get_image(c, drawable, int16_t(rect.x()), int16_t(rect.y()), uint16_t(rect.width()),
            uint16_t(rect.height()), ~0u, XCB_IMAGE_FORMAT_Z_PIXMAP, segment->id, 0),
        &rawError));
    const XcbReply<xcb_generic_error_t> error(rawError);
    if (!reply)
        return grabError(X11Connection::describe(error.get()));
    if (std::optional<Error> unusable = unusableFormat(xcb_get_setup(c), reply->depth))
        return *unusable;

    return Bitmap(rect.size(), qsizetype(rect.width()) * 4, static_cast<const uchar *>(segment->memory),
        std::move(owner), reply->depth == 32 ? alpha : Bitmap::Alpha::ignored);
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
    if (std::optional<Error> unusable = unusableFormat(xcb_get_setup(c), raw->depth))
        return *unusable;
    return Bitmap(rect.size(), qsizetype(rect.width()) * 4, xcb_get_image_data(raw), std::move(owner),
        raw->depth == 32 ? alpha : Bitmap::Alpha::ignored);
}
