#include "X11FrameSource.h"

#include "RecordingError.h"
#include "X11Connection.h"

#include <xcb/randr.h>
#include <xcb/xfixes.h>

#include <cstring>
#include <ctime>

namespace {

constexpr long frameInterval = 1'000'000'000L / 30; // nanoseconds

void advance(timespec &time, long nanoseconds)
{
    time.tv_nsec += nanoseconds;
    while (time.tv_nsec >= 1'000'000'000L) {
        time.tv_nsec -= 1'000'000'000L;
        ++time.tv_sec;
    }
}

bool before(const timespec &a, const timespec &b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

// Premultiplied ARGB over opaque BGRX, one row.
void blendRow(uchar *target, const uint32_t *cursor, int count)
{
    for (int i = 0; i < count; ++i, target += 4) {
        const uint32_t pixel = cursor[i];
        const uint32_t alpha = pixel >> 24;
        if (alpha == 0)
            continue;
        const uint32_t keep = 255 - alpha;
        target[0] = uchar((pixel & 0xff) + (target[0] * keep + 127) / 255);
        target[1] = uchar(((pixel >> 8) & 0xff) + (target[1] * keep + 127) / 255);
        target[2] = uchar(((pixel >> 16) & 0xff) + (target[2] * keep + 127) / 255);
    }
}

} // namespace

struct X11FrameSource::Cursor
{
    QRect rect; // root pixels
    uint32_t serial = 0;
    XcbReply<xcb_xfixes_get_cursor_image_reply_t> image;
};

Result<std::unique_ptr<FrameSource>> X11FrameSource::open(const FrameSourceRequest &request)
{
    Result<std::shared_ptr<X11Connection>> connection = X11Connection::open();
    if (!connection)
        return connection.error();
    xcb_connection_t *c = (*connection)->get();

    if (request.windowId) {
        // Its DestroyNotify ends the recording; a window already gone fails here.
        const uint32_t mask[] = {XCB_EVENT_MASK_STRUCTURE_NOTIFY};
        const XcbReply<xcb_generic_error_t> gone(
            xcb_request_check(c, xcb_change_window_attributes_checked(c, *request.windowId, XCB_CW_EVENT_MASK, mask)));
        if (gone)
            return toError(RecordingError::targetNotFound);
    }
    if (request.showsCursor) {
        const XcbReply<xcb_xfixes_query_version_reply_t> fixes(
            xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 4, 0), nullptr));
        if (!fixes)
            return Error{QStringLiteral("Couldn't record the pointer."), QStringLiteral("no XFixes extension")};
    }
    // Without XDamage every frame is grabbed and written.
    xcb_damage_damage_t damage = XCB_NONE;
    const XcbReply<xcb_damage_query_version_reply_t> damageVersion(
        xcb_damage_query_version_reply(c, xcb_damage_query_version(c, 1, 1), nullptr));
    if (damageVersion) {
        damage = xcb_generate_id(c);
        xcb_damage_create(c, damage, (*connection)->root(), XCB_DAMAGE_REPORT_LEVEL_DELTA_RECTANGLES);
    }
    xcb_flush(c);
    return std::unique_ptr<FrameSource>(new X11FrameSource(std::move(connection).value(), request, damage));
}

X11FrameSource::X11FrameSource(
    std::shared_ptr<X11Connection> connection, FrameSourceRequest request, xcb_damage_damage_t damage)
    : m_connection(std::move(connection))
    , m_request(request)
    , m_damage(damage)
    , m_grabber(m_connection, X11Grabber::Pattern::repeated)
{
    if (m_damage != XCB_NONE)
        m_damageEvent = xcb_get_extension_data(m_connection->get(), &xcb_damage_id)->first_event;
}

bool X11FrameSource::stillOnADisplay() const
{
    xcb_connection_t *c = m_connection->get();
    if (!m_connection->hasRandrMonitors())
        return true;
    const XcbReply<xcb_randr_get_monitors_reply_t> monitors(
        xcb_randr_get_monitors_reply(c, xcb_randr_get_monitors(c, m_connection->root(), 1), nullptr));
    if (!monitors)
        return true;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(monitors.get()); it.rem; xcb_randr_monitor_info_next(&it)) {
        if (m_request.pixelRect.intersects(QRect(it.data->x, it.data->y, it.data->width, it.data->height)))
            return true;
    }
    return false;
}

X11FrameSource::~X11FrameSource()
{
    stop();
    if (m_damage != XCB_NONE && !xcb_connection_has_error(m_connection->get())) {
        xcb_damage_destroy(m_connection->get(), m_damage);
        xcb_flush(m_connection->get());
    }
}

Result<void> X11FrameSource::start(FrameHandler frame, StopHandler stopped)
{
    m_frame = std::move(frame);
    m_stopped = std::move(stopped);
    m_thread = std::thread([this] { run(); });
    return {};
}

void X11FrameSource::stop()
{
    m_stopping = true;
    if (m_thread.joinable())
        m_thread.join();
}

bool X11FrameSource::takeDamage()
{
    xcb_connection_t *c = m_connection->get();
    if (m_damage == XCB_NONE)
        return true;
    bool damaged = false;
    while (xcb_generic_event_t *raw = xcb_poll_for_event(c)) {
        const XcbReply<xcb_generic_event_t> event(raw);
        const uint8_t type = event->response_type & 0x7f;
        if (type == m_damageEvent + XCB_DAMAGE_NOTIFY) {
            const auto *notify = reinterpret_cast<const xcb_damage_notify_event_t *>(event.get());
            damaged = damaged
                || m_request.pixelRect.intersects(
                    QRect(notify->area.x, notify->area.y, notify->area.width, notify->area.height));
        } else if (type == XCB_DESTROY_NOTIFY && m_request.windowId
            && reinterpret_cast<const xcb_destroy_notify_event_t *>(event.get())->window == *m_request.windowId) {
            m_ended = toError(RecordingError::targetNotFound);
        }
    }
    if (xcb_connection_has_error(c))
        m_ended = Error{QStringLiteral("The connection to the X server was lost."), {}};
    // Emptied, so that the next change is reported again.
    xcb_damage_subtract(c, m_damage, XCB_NONE, XCB_NONE);
    xcb_flush(c);
    return damaged;
}

std::shared_ptr<X11FrameSource::Cursor> X11FrameSource::readCursor()
{
    xcb_connection_t *c = m_connection->get();
    XcbReply<xcb_xfixes_get_cursor_image_reply_t> image(
        xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), nullptr));
    if (!image)
        return nullptr;
    auto cursor = std::make_shared<Cursor>();
    cursor->rect = QRect(image->x - image->xhot, image->y - image->yhot, image->width, image->height);
    cursor->serial = image->cursor_serial;
    cursor->image = std::move(image);
    return cursor;
}

Bitmap X11FrameSource::withCursor(const Bitmap &grabbed, const Cursor &cursor) const
{
    Bitmap frame = Bitmap::allocate(grabbed.size());
    for (int y = 0; y < grabbed.height(); ++y)
        std::memcpy(frame.bits() + y * frame.bytesPerLine(), grabbed.scanLine(y), size_t(grabbed.width()) * 4);
    const QRect inside = cursor.rect.intersected(m_request.pixelRect);
    const uint32_t *pixels = xcb_xfixes_get_cursor_image_cursor_image(cursor.image.get());
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        const uint32_t *row = pixels + qsizetype(y - cursor.rect.y()) * cursor.rect.width();
        uchar *target = frame.bits() + qsizetype(y - m_request.pixelRect.y()) * frame.bytesPerLine()
            + qsizetype(inside.x() - m_request.pixelRect.x()) * 4;
        blendRow(target, row + (inside.x() - cursor.rect.x()), inside.width());
    }
    return frame;
}

void X11FrameSource::run()
{
    const xcb_screen_t *screen = m_connection->screen();
    const QSize rootSize(screen->width_in_pixels, screen->height_in_pixels);
    const QRect &rect = m_request.pixelRect;
    std::shared_ptr<Cursor> lastCursor;
    bool first = true;
    timespec next = {};
    clock_gettime(CLOCK_MONOTONIC, &next);

    for (int tick = 1; !m_stopping; ++tick) {
        const bool damaged = takeDamage();
        // A display that goes away ends a display or area recording. Asked once a second: not
        // every server tells (Xvfb sends no RandR event when a monitor is removed).
        if (!m_ended && !m_request.windowId && tick % 30 == 0 && !stillOnADisplay())
            m_ended = toError(RecordingError::targetNotFound);
        if (m_ended) {
            m_stopped(*m_ended);
            return;
        }
        const std::shared_ptr<Cursor> cursor = m_request.showsCursor ? readCursor() : nullptr;
        const bool cursorShown = cursor && cursor->rect.intersects(rect);
        const bool cursorChanged = cursor
            && (!lastCursor || cursor->rect != lastCursor->rect || cursor->serial != lastCursor->serial)
            && (cursorShown || (lastCursor && lastCursor->rect.intersects(rect)));
        lastCursor = cursor;

        const RecordingClock::time_point time = RecordingClock::now();
        if (first || damaged || cursorChanged) {
            Result<Bitmap> grabbed = m_grabber.grab(m_connection->root(), rect, rootSize);
            if (grabbed) {
                first = false;
                m_frame(VideoFrame{cursorShown ? withCursor(*grabbed, *cursor) : std::move(grabbed).value(), time,
                    VideoFrame::Status::complete});
            } else if (xcb_connection_has_error(m_connection->get())) {
                m_stopped(grabbed.error());
                return;
            }
        } else {
            m_frame(VideoFrame{{}, time, VideoFrame::Status::idle});
        }

        // The next tick on the 30-a-second grid; ticks already missed are skipped, not caught up.
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        advance(next, frameInterval);
        while (before(next, now))
            advance(next, frameInterval);
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    }
}
