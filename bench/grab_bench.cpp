// Times the grab alone: the primary display read from the X server into a Bitmap, as still
// capture does it. The first grab of a process is what the command line pays (fresh memory
// for the whole frame); repeated grabs are what the overlay and the recorder pay.
#include "StillCapture.h"
#include "X11Connection.h"
#include "X11ScreenCapture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>

#include <algorithm>

namespace {

double grabMs(StillCapture &capture, quint32 display, QSize &size)
{
    QElapsedTimer timer;
    timer.start();
    const Result<CapturedStill> still = capture.capture(CaptureTarget::display(display), WindowShadow::excluded);
    const double ms = double(timer.nsecsElapsed()) / 1e6;
    if (!still) {
        QTextStream(stderr) << "grab_bench: " << still.error().message << ' ' << still.error().detail << '\n';
        std::exit(1);
    }
    size = still->image.size();
    return ms;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    int runs = 20;
    const QStringList arguments = QCoreApplication::arguments();
    const qsizetype runsAt = arguments.indexOf(QStringLiteral("--runs"));
    if (runsAt >= 0 && runsAt + 1 < arguments.size())
        runs = std::max(1, arguments.at(runsAt + 1).toInt());

    const Result<std::shared_ptr<X11Connection>> connection = X11Connection::open();
    if (!connection) {
        QTextStream(stderr) << "grab_bench: " << connection.error().message << '\n';
        return 1;
    }
    QTextStream out(stdout);
    QSize size;
    for (const auto pattern : {X11Grabber::Pattern::oneShot, X11Grabber::Pattern::repeated}) {
        X11ScreenCapture platform(*connection, {}, pattern);
        StillCapture capture(platform);
        const quint32 display = platform.displays().first().id;
        const double first = grabMs(capture, display, size);
        QList<double> again;
        for (int i = 0; i < runs; ++i)
            again << grabMs(capture, display, size);
        std::sort(again.begin(), again.end());
        const bool shm = pattern == X11Grabber::Pattern::repeated && (*connection)->hasShm();
        out << QStringLiteral("grab %1x%2, %3: first %4 ms, then median %5 ms (min %6, max %7, %8 runs)\n")
                   .arg(size.width())
                   .arg(size.height())
                   .arg(shm ? QStringLiteral("MIT-SHM, segments reused") : QStringLiteral("GetImage"))
                   .arg(first, 0, 'f', 1)
                   .arg(again.at(again.size() / 2), 0, 'f', 1)
                   .arg(again.first(), 0, 'f', 1)
                   .arg(again.last(), 0, 'f', 1)
                   .arg(runs);
    }
    return 0;
}
