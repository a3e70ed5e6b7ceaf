// Times the grab alone: the primary display read from the X server into a Bitmap, as still
// capture does it (a fresh shared-memory segment per grab), N times; prints the median.
#include "StillCapture.h"
#include "X11Connection.h"
#include "X11ScreenCapture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>

#include <algorithm>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    int runs = 20;
    const QStringList arguments = QCoreApplication::arguments();
    const qsizetype runsAt = arguments.indexOf(QStringLiteral("--runs"));
    if (runsAt >= 0 && runsAt + 1 < arguments.size())
        runs = std::max(1, arguments.at(runsAt + 1).toInt());

    QTextStream out(stdout);
    const Result<std::shared_ptr<X11Connection>> connection = X11Connection::open();
    if (!connection) {
        QTextStream(stderr) << "grab_bench: " << connection.error().message << '\n';
        return 1;
    }
    X11ScreenCapture platform(*connection, {});
    StillCapture capture(platform);
    const quint32 display = platform.displays().first().id;

    QList<double> milliseconds;
    QSize size;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        const Result<CapturedStill> still = capture.capture(CaptureTarget::display(display), WindowShadow::excluded);
        milliseconds << double(timer.nsecsElapsed()) / 1e6;
        if (!still) {
            QTextStream(stderr) << "grab_bench: " << still.error().message << ' ' << still.error().detail << '\n';
            return 1;
        }
        size = still->image.size();
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    out << QStringLiteral("grab %1x%2 (%3): median %4 ms, min %5 ms, max %6 ms over %7 runs\n")
               .arg(size.width())
               .arg(size.height())
               .arg((*connection)->hasShm() ? QStringLiteral("MIT-SHM") : QStringLiteral("GetImage"))
               .arg(milliseconds.at(milliseconds.size() / 2), 0, 'f', 2)
               .arg(milliseconds.first(), 0, 'f', 2)
               .arg(milliseconds.last(), 0, 'f', 2)
               .arg(runs);
    return 0;
}
