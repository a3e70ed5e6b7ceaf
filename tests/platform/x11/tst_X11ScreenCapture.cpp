#include "StillCapture.h"
#include "X11Connection.h"
#include "X11ScreenCapture.h"
#include "X11WindowList.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

namespace {

constexpr QSize patternSize(200, 150);

// Every pixel of the test window differs from its neighbours, so an offset of one pixel or a
// swapped channel shows.
quint32 patternPixel(int x, int y)
{
    return 0xff000000u | quint32(x & 0xff) << 16 | quint32(y & 0xff) << 8 | quint32((x * 7 ^ y * 13) & 0xff);
}

// The first mismatch between `image` at `offset` and the pattern, or an empty string.
QString comparePattern(const Bitmap &image, const QPoint &offset)
{
    if (!QRect(QPoint(0, 0), image.size()).contains(QRect(offset, patternSize)))
        return QStringLiteral("the pattern at %1,%2 is not inside the image").arg(offset.x()).arg(offset.y());
    for (int y = 0; y < patternSize.height(); ++y) {
        const auto *row = reinterpret_cast<const quint32 *>(image.scanLine(offset.y() + y)) + offset.x();
        for (int x = 0; x < patternSize.width(); ++x) {
            if ((row[x] & 0xffffff) != (patternPixel(x, y) & 0xffffff))
                return QStringLiteral("pixel %1,%2 is %3").arg(x).arg(y).arg(row[x], 8, 16, QLatin1Char('0'));
        }
    }
    return {};
}

// `arguments` are separated by spaces.
int xrandr(const QString &arguments)
{
    return QProcess::execute(QStringLiteral("xrandr"), arguments.split(u' '));
}

} // namespace

class tst_X11ScreenCapture : public QObject
{
    Q_OBJECT

private:
    std::shared_ptr<X11Connection> m_x;
    xcb_window_t m_window = 0;

    // The client area of the test window on the root, in device pixels.
    QRect clientPixels() const
    {
        xcb_connection_t *c = m_x->get();
        const XcbReply<xcb_translate_coordinates_reply_t> at(
            xcb_translate_coordinates_reply(c, xcb_translate_coordinates(c, m_window, m_x->root(), 0, 0), nullptr));
        return QRect(QPoint(at->dst_x, at->dst_y), patternSize);
    }

    // The window as the capture lists it, frame and all; none when it is not listed.
    static std::optional<ScreenWindow> listed(X11ScreenCapture &platform, xcb_window_t window)
    {
        const Result<ScreenContent> content = platform.shareableContent();
        for (const ScreenWindow &listedWindow : content->windows) {
            if (listedWindow.id == window)
                return listedWindow;
        }
        return std::nullopt;
    }

private Q_SLOTS:
    void initTestCase()
    {
        Result<std::shared_ptr<X11Connection>> connection = X11Connection::open();
        QVERIFY(connection.ok());
        m_x = *connection;
        xcb_connection_t *c = m_x->get();
        // The server repaints the window from this pixmap by itself, whatever covers it.
        const xcb_pixmap_t pixmap = xcb_generate_id(c);
        xcb_create_pixmap(c, m_x->screen()->root_depth, pixmap, m_x->root(), uint16_t(patternSize.width()),
            uint16_t(patternSize.height()));
        QList<quint32> pixels;
        for (int y = 0; y < patternSize.height(); ++y)
            for (int x = 0; x < patternSize.width(); ++x)
                pixels << patternPixel(x, y);
        const xcb_gcontext_t gc = xcb_generate_id(c);
        xcb_create_gc(c, gc, pixmap, 0, nullptr);
        xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, gc, uint16_t(patternSize.width()),
            uint16_t(patternSize.height()), 0, 0, 0, m_x->screen()->root_depth, uint32_t(pixels.size() * 4),
            reinterpret_cast<const uint8_t *>(pixels.constData()));
        m_window = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, m_window, m_x->root(), 1250, 200, uint16_t(patternSize.width()),
            uint16_t(patternSize.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, m_x->screen()->root_visual,
            XCB_CW_BACK_PIXMAP, &pixmap);
        // USPosition: the window manager puts the frame where we ask.
        const uint32_t hints[18] = {1 | 2, 1250, 200, uint32_t(patternSize.width()), uint32_t(patternSize.height())};
        xcb_change_property(
            c, XCB_PROP_MODE_REPLACE, m_window, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32, 18, hints);
        xcb_map_window(c, m_window);
        xcb_flush(c);
        X11ScreenCapture platform(m_x, {});
        QTRY_VERIFY(listed(platform, m_window));
        QTest::qWait(200); // let the window manager finish decorating before anything is compared
    }

    // One pixel-exact grab of the whole display and one of the window with its frame. Areas are
    // the two-monitor case below, and tst_Selection's and tst_ScreenshotCommand's at scale 1 and 2.
    void capture_data()
    {
        QTest::addColumn<bool>("window");
        QTest::newRow("display") << false;
        QTest::newRow("window") << true;
    }

    void capture()
    {
        QFETCH(bool, window);
        X11ScreenCapture platform(m_x, {});
        const QList<ScreenDisplay> displays = platform.displays();
        QCOMPARE(displays.size(), 1);
        CaptureTarget target = CaptureTarget::display(displays.first().id);
        QSize expectedSize = displays.first().pixelFrame.size();
        QPoint patternAt = clientPixels().topLeft();
        if (window) {
            const std::optional<ScreenWindow> framed = listed(platform, m_window);
            QVERIFY(framed);
            target = CaptureTarget::window(m_window);
            // The frame the window manager drew around the client is part of the window.
            expectedSize = framed->frame.size().toSize();
            QVERIFY(expectedSize.width() > patternSize.width());
            patternAt -= framed->frame.topLeft().toPoint();
        }

        const Result<CapturedStill> still = StillCapture(platform).capture(target, WindowShadow::excluded);
        QVERIFY2(still.ok(), qPrintable(still.ok() ? QString() : still.error().message + still.error().detail));
        QCOMPARE(still->image.size(), expectedSize);
        const QString mismatch = comparePattern(still->image, patternAt);
        QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    }

    void windowListReadsWhatTheFilterNeeds()
    {
        xcb_connection_t *c = m_x->get();
        const xcb_window_t shadowed = xcb_generate_id(c);
        const uint32_t black = 0;
        xcb_create_window(c, XCB_COPY_FROM_PARENT, shadowed, m_x->root(), 500, 500, 120, 90, 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, m_x->screen()->root_visual, XCB_CW_BACK_PIXEL, &black);
        // Set before mapping, as applications do.
        const uint32_t extents[] = {10, 12, 14, 16};
        xcb_change_property(
            c, XCB_PROP_MODE_REPLACE, shadowed, m_x->atom("_GTK_FRAME_EXTENTS"), XCB_ATOM_CARDINAL, 32, 4, extents);
        xcb_map_window(c, shadowed);
        xcb_flush(c);

        const X11WindowList list(m_x);
        const auto find = [&](xcb_window_t id) -> std::optional<X11WindowList::Window> {
            for (const X11WindowList::Window &window : list.windows()) {
                if (window.client == id)
                    return window;
            }
            return std::nullopt;
        };
        QTRY_VERIFY(find(shadowed));
        const X11WindowList::Window found = *find(shadowed);
        // Taken off a shadowed window's picture; wrong margins leave shadow in it or cut the window.
        QCOMPARE(found.shadowMargins, QMargins(10, 14, 12, 16));
        QVERIFY2(found.pixelFrame.marginsAdded(found.shadowMargins).width() >= 120,
            "the margins are taken off the frame, not added to it");
        // Nobody set _NET_WM_PID: the server itself knows whose windows these are, which is how
        // Qorvel leaves its own out.
        QCOMPARE(found.pid, QCoreApplication::applicationPid());

        // Minimised windows are not on screen.
        const xcb_atom_t hidden = m_x->atom("_NET_WM_STATE_HIDDEN");
        xcb_change_property(
            c, XCB_PROP_MODE_REPLACE, shadowed, m_x->atom("_NET_WM_STATE"), XCB_ATOM_ATOM, 32, 1, &hidden);
        xcb_unmap_window(c, shadowed);
        xcb_flush(c);
        QTRY_VERIFY(!find(shadowed));
        xcb_destroy_window(c, shadowed);
        xcb_flush(c);
    }

    // Last: it changes the server's monitors for good.
    void twoMonitorsSideBySide()
    {
        QCOMPARE(xrandr(QStringLiteral("--setmonitor LEFT 960/254x1080/286+0+0 screen")), 0);
        QCOMPARE(xrandr(QStringLiteral("--setmonitor RIGHT 960/254x1080/286+960+0 none")), 0);
        // The window manager re-places windows when monitors change: put ours back on the right
        // monitor and wait until it stays there.
        QTest::qWait(300);
        const uint32_t position[] = {1250, 200};
        xcb_configure_window(m_x->get(), m_window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, position);
        xcb_flush(m_x->get());
        QTRY_VERIFY(clientPixels().left() > 960);
        QTest::qWait(200);
        X11ScreenCapture platform(
            m_x, [](const QString &name, const QRect &) { return name == QLatin1String("RIGHT") ? 2.0 : 1.0; });
        const QList<ScreenDisplay> displays = platform.displays();
        QCOMPARE(displays.size(), 2);
        const auto right = std::find_if(displays.cbegin(), displays.cend(),
            [](const ScreenDisplay &d) { return d.name == QLatin1String("RIGHT"); });
        QVERIFY(right != displays.cend());
        QCOMPARE(right->frame, QRectF(960, 0, 480, 540));

        // The window sits on the right monitor: its area there, in that monitor's points.
        const QPoint local = clientPixels().topLeft() - right->pixelFrame.topLeft();
        const Result<CapturedStill> area = StillCapture(platform).capture(
            CaptureTarget::area(right->id, QRectF(QPointF(local) / 2, QSizeF(patternSize) / 2)),
            WindowShadow::excluded);
        QVERIFY(area.ok());
        QCOMPARE(area->scale, 2.0);
        QCOMPARE(area->image.size(), patternSize);
        const QString mismatch = comparePattern(area->image, QPoint(0, 0));
        QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    }
};

QTEST_GUILESS_MAIN(tst_X11ScreenCapture)
#include "tst_X11ScreenCapture.moc"
