// The selection overlay as the tray application opens it: Qt already running and the capture
// adapter's shared memory kept from one grab to the next. Times the request to the first paint
// of the overlay, and a pointer move to its repaint with the magnifier on.
//
//   overlay_warm_bench [--runs N]      (under an X server; bench/overlay-bench runs it)

#include "BitmapImage.h"
#include "PixelSize.h"
#include "SelectionOverlayController.h"
#include "SelectionOverlayView.h"
#include "X11Connection.h"
#include "X11ScreenCapture.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <QScreen>
#include <QTextStream>

#include <algorithm>

namespace {

// Counts paints as they finish: the time of a paint is taken when the widget has drawn it.
class PaintClock : public QObject
{
public:
    qint64 lastPaintEnd = -1;
    QElapsedTimer clock;

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() != QEvent::Paint)
            return false;
        watched->removeEventFilter(this);
        QCoreApplication::sendEvent(watched, event); // paint now, then note the time
        lastPaintEnd = clock.nsecsElapsed();
        watched->installEventFilter(this);
        return true;
    }
};

double scaleOf(const QString &name, const QRect &pixelFrame)
{
    for (const QScreen *screen : QGuiApplication::screens()) {
        if (screen->name() == name || screen->geometry().topLeft() == pixelFrame.topLeft())
            return screen->devicePixelRatio();
    }
    return 1.0;
}

QScreen *screenFor(const ScreenDisplay &display)
{
    for (QScreen *screen : QGuiApplication::screens()) {
        if (screen->name() == display.name)
            return screen;
    }
    return QGuiApplication::primaryScreen();
}

void report(QTextStream &out, const char *what, QList<double> values)
{
    std::sort(values.begin(), values.end());
    if (values.isEmpty())
        return;
    out << what << ": median " << values.at(values.size() / 2) << " ms, min " << values.first() << ", max "
        << values.last() << " (" << values.size() << " runs)\n";
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption runsOption(QStringLiteral("runs"), QString(), QStringLiteral("N"), QStringLiteral("15"));
    parser.addOption(runsOption);
    parser.process(app);
    const int runs = parser.value(runsOption).toInt();

    Result<std::shared_ptr<X11Connection>> connection = X11Connection::open();
    if (!connection) {
        QTextStream(stderr) << "overlay_warm_bench: " << connection.error().message << '\n';
        return 1;
    }
    X11ScreenCapture capture(*connection, scaleOf, X11Grabber::Pattern::repeated);

    PaintClock paints;
    QList<double> opened;
    QList<double> moved;
    for (int run = 0; run < runs + 1; ++run) { // the first run warms the segments and the styles
        paints.clock.start();
        const Result<ScreenContent> content = capture.shareableContent();
        if (!content)
            return 1;
        QList<SelectionOverlayController::Display> displays;
        for (const ScreenDisplay &display : content->displays) {
            const Result<Bitmap> image = capture.grabDisplayArea(
                display, QRectF(QPointF(0, 0), display.frame.size()), pixelSize(display.frame.size(), display.scale));
            if (image)
                displays << SelectionOverlayController::Display{display, screenFor(display), BitmapImage::wrap(*image)};
        }
        SelectionOverlayController overlay;
        overlay.start(displays, {}, true, nullptr, [](std::optional<CaptureTarget>) {});
        for (const QPointer<SelectionOverlayView> &view : overlay.views())
            view->installEventFilter(&paints);
        paints.lastPaintEnd = -1;
        while (paints.lastPaintEnd < 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (run > 0)
            opened << paints.lastPaintEnd / 1e6;

        // Pointer moves with the magnifier on: each is timed from the event to its paint.
        SelectionOverlayView *view = overlay.views().first();
        for (int step = 0; step < 10; ++step) {
            const QPointF at(400 + step * 37, 300 + step * 23);
            paints.lastPaintEnd = -1;
            const qint64 sent = paints.clock.nsecsElapsed();
            QMouseEvent move(QEvent::MouseMove, at, view->mapToGlobal(at), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
            QCoreApplication::sendEvent(view, &move);
            while (paints.lastPaintEnd < 0)
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            if (run > 0)
                moved << (paints.lastPaintEnd - sent) / 1e6;
        }
        overlay.finish(std::nullopt);
        QCoreApplication::processEvents();
    }

    QTextStream out(stdout);
    out.setRealNumberPrecision(3);
    report(out, "warm overlay, request to first paint", opened);
    report(out, "pointer move to repaint, magnifier on", moved);
    return 0;
}
