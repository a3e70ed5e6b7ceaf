#pragma once

#include "FrameSource.h"
#include "X11Grabber.h"

#include <xcb/damage.h>
#include <xcb/xcb.h>

#include <atomic>
#include <memory>
#include <thread>

class X11Connection;

// Frames of a screen rectangle, grabbed through shared memory at most 30 times a second on a
// connection and a thread of its own. XDamage says whether anything in the rectangle changed
// since the last frame: when nothing did (and the pointer did not move over it), the frame is
// reported idle without a grab, so a still screen costs next to nothing.
class X11FrameSource final : public FrameSource
{
public:
    static Result<std::unique_ptr<FrameSource>> open(const FrameSourceRequest &request);
    ~X11FrameSource() override;

    Result<void> start(FrameHandler frame, StopHandler stopped) override;
    void stop() override;

private:
    X11FrameSource(std::shared_ptr<X11Connection> connection, FrameSourceRequest request, xcb_damage_damage_t damage);

    void run();
    // Reads the events that arrived: true when the rectangle was damaged. Sets `m_ended` with
    // the reason when the recorded window went away or the connection broke.
    bool takeDamage();
    // Whether a RandR monitor still shows part of the recorded rectangle.
    bool stillOnADisplay() const;
    struct Cursor;
    std::shared_ptr<Cursor> readCursor();
    Bitmap withCursor(const Bitmap &grabbed, const Cursor &cursor) const;

    std::shared_ptr<X11Connection> m_connection;
    FrameSourceRequest m_request;
    xcb_damage_damage_t m_damage;
    uint8_t m_damageEvent = 0;
    X11Grabber m_grabber;
    FrameHandler m_frame;
    StopHandler m_stopped;
    std::optional<Error> m_ended;
    std::atomic<bool> m_stopping{false};
    std::thread m_thread;
};
