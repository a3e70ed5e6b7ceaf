#include "CaptureError.h"
#include "StillCapture.h"
#include "X11Connection.h"
#include "X11ScreenCapture.h"
#include "X11ScreenCaptureAccess.h"
#include "X11WindowList.h"

#include <QCoreApplication>

#include <QProcess>
#include <QTest>

#include <cstring>

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

void runXrandr(const QStringList &arguments)
{
    QProcess xrandr;
    xrandr.start(QStringLiteral("xrandr"), arguments);
    QVERIFY(xrandr.waitForFinished(10000));
    QCOMPARE(xrandr.exitCode(), 0);
}

} // namespace

Q_DECLARE_METATYPE(X11Grabber::Pattern)

class tst_X11ScreenCapture : public QObject
{
    Q_OBJECT

private:
    std::shared_ptr<X11Connection> m_x;
    xcb_window_t m_window = 0;

    xcb_window_t createWindow(const QPoint &position, bool withPattern)
    {
        xcb_connection_t *c = m_x->get();
        const xcb_window_t window = xcb_generate_id(c);
        uint32_t background = 0;
        uint32_t mask = XCB_CW_BACK_PIXEL;
        if (withPattern) {
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
            background = pixmap;
            mask = XCB_CW_BACK_PIXMAP;
        }
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window, m_x->root(), int16_t(position.x()), int16_t(position.y()),
            uint16_t(patternSize.width()), uint16_t(patternSize.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
            m_x->screen()->root_visual, mask, &background);
        // USPosition: the window manager puts the frame where we ask.
        const uint32_t hints[18] = {1 | 2, uint32_t(position.x()), uint32_t(position.y()),
            uint32_t(patternSize.width()), uint32_t(patternSize.height())};
        xcb_change_property(
            c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32, 18, hints);
        xcb_map_window(c, window);
        xcb_flush(c);
        return window;
    }

    // The client area of the test window on the root, in device pixels.
    QRect clientPixels() const
    {
        xcb_connection_t *c = m_x->get();
        const XcbReply<xcb_translate_coordinates_reply_t> at(
            xcb_translate_coordinates_reply(c, xcb_translate_coordinates(c, m_window, m_x->root(), 0, 0), nullptr));
        return QRect(QPoint(at->dst_x, at->dst_y), patternSize);
    }

    static bool isListed(X11ScreenCapture &platform, xcb_window_t window)
    {
        const Result<ScreenContent> content = platform.shareableContent();
        return std::any_of(content->windows.cbegin(), content->windows.cend(),
            [window](const ScreenWindow &w) { return w.id == window; });
    }

    void setAtomProperty(xcb_window_t window, const char *property, const char *value)
    {
        const xcb_atom_t atom = m_x->atom(value);
        xcb_change_property(
            m_x->get(), XCB_PROP_MODE_REPLACE, window, m_x->atom(property), XCB_ATOM_ATOM, 32, 1, &atom);
    }

    void setCardinals(xcb_window_t window, const char *property, const QList<uint32_t> &values)
    {
        xcb_change_property(m_x->get(), XCB_PROP_MODE_REPLACE, window, m_x->atom(property), XCB_ATOM_CARDINAL, 32,
            uint32_t(values.size()), values.constData());
    }

private Q_SLOTS:
    void initTestCase()
    {
        Result<std::shared_ptr<X11Connection>> connection = X11Connection::open();
        QVERIFY(connection.ok());
        m_x = *connection;
        m_window = createWindow(QPoint(1250, 200), true);
        X11ScreenCapture platform(m_x, {});
        QTRY_VERIFY(isListed(platform, m_window));
        QTest::qWait(200); // let the window manager finish decorating before anything is compared
    }

    void capture_data()
    {
        QTest::addColumn<double>("scale");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<X11Grabber::Pattern>("pattern");
        for (const double scale : {1.0, 1.5, 2.0}) {
            for (const char *kind : {"display", "area", "window"})
                QTest::addRow("%s at %g", kind, scale)
                    << scale << QString::fromLatin1(kind) << X11Grabber::Pattern::repeated;
        }
        // The command line's path: GetImage instead of shared memory.
        for (const char *kind : {"display", "area"})
            QTest::addRow("%s at 2, one shot", kind)
                << 2.0 << QString::fromLatin1(kind) << X11Grabber::Pattern::oneShot;
    }

    void capture()
    {
        QFETCH(double, scale);
        QFETCH(QString, kind);
        QFETCH(X11Grabber::Pattern, pattern);
        X11ScreenCapture platform(
            m_x, [scale](const QString &, const QRect &) { return scale; }, pattern);
        const QList<ScreenDisplay> displays = platform.displays();
        QCOMPARE(displays.size(), 1);
        const ScreenDisplay display = displays.first();
        const QRect client = clientPixels();

        CaptureTarget target = CaptureTarget::display(display.id);
        QSize expectedSize = display.pixelFrame.size();
        QPoint patternAt = client.topLeft();
        if (kind == QLatin1String("area")) {
            target = CaptureTarget::area(
                display.id, QRectF(QPointF(client.topLeft()) / scale, QSizeF(patternSize) / scale));
            expectedSize = patternSize;
            patternAt = QPoint(0, 0);
        } else if (kind == QLatin1String("window")) {
            target = CaptureTarget::window(m_window);
            const Result<ScreenContent> content = platform.shareableContent();
            const auto window = std::find_if(content->windows.cbegin(), content->windows.cend(),
                [this](const ScreenWindow &w) { return w.id == m_window; });
            QVERIFY(window != content->windows.cend());
            // The frame the window manager drew around the client is part of the window.
            const QPoint frameTopLeft = (window->frame.topLeft() * scale).toPoint();
            expectedSize = (window->frame.size() * scale).toSize();
            QVERIFY(expectedSize.width() > patternSize.width());
            patternAt = client.topLeft() - frameTopLeft;
        }

        StillCapture capture(platform);
        const Result<CapturedStill> still = capture.capture(target, WindowShadow::excluded);
        QVERIFY2(still.ok(), qPrintable(still.ok() ? QString() : still.error().message + still.error().detail));
        QCOMPARE(still->scale, scale);
        QCOMPARE(still->image.size(), expectedSize);
        const QString mismatch = comparePattern(still->image, patternAt);
        QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    }

    // Capture cuts areas at the display's edge; the grabber itself still never reads past the
    // screen when asked to: what lies beyond is black.
    void areaReachingOffScreenIsBlackThere()
    {
        X11ScreenCapture platform(m_x, {});
        const ScreenDisplay display = platform.displays().first();
        const QRectF area(display.frame.width() - 10, 0, 20, 10);
        const Result<Bitmap> image = platform.grabDisplayArea(display, area, PixelSize{20, 10});
        QVERIFY(image.ok());
        QCOMPARE(image->size(), QSize(20, 10));
        const auto *row = reinterpret_cast<const quint32 *>(image->scanLine(5));
        QCOMPARE(row[15] & 0xffffff, 0u);
    }

    void closedWindowIsNotFound()
    {
        X11ScreenCapture platform(m_x, {});
        const xcb_window_t gone = createWindow(QPoint(10, 10), false);
        QTRY_VERIFY(isListed(platform, gone));
        xcb_destroy_window(m_x->get(), gone);
        xcb_flush(m_x->get());
        const Result<CapturedStill> still
            = StillCapture(platform).capture(CaptureTarget::window(gone), WindowShadow::excluded);
        QVERIFY(!still.ok());
        QCOMPARE(still.error().message, description(CaptureError::windowNotFound));
    }

    void accessIsGrantedOnX11()
    {
        X11ScreenCaptureAccess access(m_x);
        QVERIFY(access.preflight());
        QCOMPARE(access.probe().outcome, ScreenCaptureAccess::ProbeOutcome::ok);
    }

    void windowListReadsWhatTheFilterNeeds()
    {
        xcb_connection_t *c = m_x->get();
        // Properties set before mapping, as applications do.
        const auto unmapped = [&](const QPoint &at) {
            const xcb_window_t window = xcb_generate_id(c);
            const uint32_t black = 0;
            xcb_create_window(c, XCB_COPY_FROM_PARENT, window, m_x->root(), int16_t(at.x()), int16_t(at.y()), 120, 90,
                0, XCB_WINDOW_CLASS_INPUT_OUTPUT, m_x->screen()->root_visual, XCB_CW_BACK_PIXEL, &black);
            return window;
        };
        const xcb_window_t dock = unmapped(QPoint(0, 900));
        setAtomProperty(dock, "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_DOCK");
        const xcb_window_t above = unmapped(QPoint(300, 500));
        setAtomProperty(above, "_NET_WM_STATE", "_NET_WM_STATE_ABOVE");
        setCardinals(above, "_NET_WM_WINDOW_OPACITY", {0x7fffffff});
        const xcb_window_t shadowed = unmapped(QPoint(500, 500));
        setCardinals(shadowed, "_GTK_FRAME_EXTENTS", {10, 12, 14, 16});
        const char instance[] = "shadowed\0Qorvel-test";
        xcb_change_property(
            c, XCB_PROP_MODE_REPLACE, shadowed, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, sizeof(instance), instance);
        for (const xcb_window_t window : {dock, above, shadowed})
            xcb_map_window(c, window);
        xcb_flush(c);

        const X11WindowList list(m_x);
        const auto find = [&](xcb_window_t id) -> std::optional<X11WindowList::Window> {
            for (const X11WindowList::Window &window : list.windows()) {
                if (window.client == id)
                    return window;
            }
            return std::nullopt;
        };
        QTRY_VERIFY(find(dock) && find(above) && find(shadowed));
        QCOMPARE(find(dock)->layer, 20);
        QCOMPARE(find(above)->layer, 3);
        QVERIFY(qAbs(find(above)->alpha - 0.5) < 0.001);
        QCOMPARE(find(shadowed)->layer, 0);
        QCOMPARE(find(shadowed)->shadowMargins, QMargins(10, 14, 12, 16));
        QCOMPARE(find(shadowed)->instanceName, QStringLiteral("shadowed"));
        // Nobody set _NET_WM_PID: the server itself knows whose windows these are.
        QCOMPARE(find(shadowed)->pid, QCoreApplication::applicationPid());
        const QRect outer = find(shadowed)->pixelFrame.marginsAdded(find(shadowed)->shadowMargins);
        QVERIFY2(outer.width() >= 120, "the margins are taken off the frame, not added to it");

        // Minimised windows are not on screen.
        setAtomProperty(shadowed, "_NET_WM_STATE", "_NET_WM_STATE_HIDDEN");
        xcb_unmap_window(c, shadowed);
        xcb_flush(c);
        QTRY_VERIFY(!find(shadowed));
        for (const xcb_window_t window : {dock, above, shadowed})
            xcb_destroy_window(c, window);
        xcb_flush(c);
    }

    // Last: it changes the server's monitors for good.
    void twoMonitorsSideBySide()
    {
        runXrandr({QStringLiteral("--setmonitor"), QStringLiteral("LEFT"), QStringLiteral("960/254x1080/286+0+0"),
            QStringLiteral("screen")});
        runXrandr({QStringLiteral("--setmonitor"), QStringLiteral("RIGHT"), QStringLiteral("960/254x1080/286+960+0"),
            QStringLiteral("none")});
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
        QCOMPARE(area->image.size(), patternSize);
        QVERIFY(comparePattern(area->image, QPoint(0, 0)).isEmpty());

        const Result<CapturedStill> whole
            = StillCapture(platform).capture(CaptureTarget::display(right->id), WindowShadow::excluded);
        QVERIFY(whole.ok());
        QCOMPARE(whole->image.size(), QSize(960, 1080));
        const QString mismatch = comparePattern(whole->image, local);
        QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));

        // Unplugged between selection and capture.
        runXrandr({QStringLiteral("--delmonitor"), QStringLiteral("RIGHT")});
        const Result<CapturedStill> gone
            = StillCapture(platform).capture(CaptureTarget::display(right->id), WindowShadow::excluded);
        QVERIFY(!gone.ok());
        QCOMPARE(gone.error().message, description(CaptureError::displayNotFound));
    }
};

QTEST_GUILESS_MAIN(tst_X11ScreenCapture)
#include "tst_X11ScreenCapture.moc"
