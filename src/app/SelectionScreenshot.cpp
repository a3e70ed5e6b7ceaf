#include "SelectionScreenshot.h"

#include "AtspiElementFinder.h"
#include "BitmapImage.h"
#include "CompositionRoot.h"
#include "FrozenScreenCapture.h"
#include "PixelSize.h"
#include "SelectionOverlayController.h"
#include "WindowFilter.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QEventLoop>
#include <QGuiApplication>
#include <QScreen>
#include <QTextStream>

// The user picks the target in the overlay; the capture is then cut from the screens as they
// were when it opened. None when the user cancelled.
int SelectionScreenshot::run(const ScreenshotOptions &options, CompositionRoot &root, ScreenCapturePlatform &live,
    const ScreenshotCommand::Deliver &deliver, QIODevice &standardOutput, QTextStream &errors)
{
    const Result<ScreenContent> content = live.shareableContent();
    if (!content) {
        errors << "qorvel: " << content.error().message << '\n';
        return 1;
    }
    // Every display is grabbed before the overlay maps, so the overlay never sees itself. The
    // displays were just listed: each is grabbed directly rather than looked up again.
    QHash<quint32, Bitmap> frozen;
    QList<SelectionOverlayController::Display> displays;
    for (const ScreenDisplay &display : content->displays) {
        const Result<Bitmap> image = live.grabDisplayArea(
            display, QRectF(QPointF(0, 0), display.frame.size()), pixelSize(display.frame.size(), display.scale));
        if (!image)
            continue;
        frozen.insert(display.id, *image);
        displays << SelectionOverlayController::Display{
            display, CompositionRoot::screenFor(display), BitmapImage::wrap(*image)};
    }
    root.endEarlyScreenGrab();
    QList<SnapWindow> windows;
    if (auto *source = dynamic_cast<WindowListSource *>(&live)) {
        const Result<QList<SnapWindow>> fetched = WindowFilter::fetch(*source, QCoreApplication::applicationPid());
        if (fetched)
            windows = *fetched; // without a list the overlay still offers areas and displays
    }

    // Element snapping only while accessibility is on; otherwise clicks choose windows.
    const std::unique_ptr<AtspiElementFinder> finder
        = AtspiElementFinder::create(QDBusConnection::sessionBus(), [](QPointF point) {
              const QScreen *screen = QGuiApplication::screenAt(point.toPoint());
              return screen ? screen->devicePixelRatio() : 1.0;
          });

    std::optional<CaptureTarget> chosen;
    // A loop of its own: the running instance serves selections from inside a D-Bus call.
    QEventLoop loop;
    SelectionOverlayController overlay;
    overlay.start(displays, windows, root.preferences().boolValue(PreferenceKey::showMagnifier), finder.get(),
        [&chosen, &loop](std::optional<CaptureTarget> target) {
            chosen = target;
            loop.quit();
        });
    if (!overlay.isOpen()) {
        errors << "qorvel: there is no display to select on\n";
        return 1;
    }
    loop.exec();
    if (!chosen) {
        errors << "qorvel: the selection was cancelled\n";
        return 1;
    }
    FrozenScreenCapture frozenScreens(*content, frozen, live);
    return ScreenshotCommand(frozenScreens, root.preferences(), deliver).run(options, standardOutput, errors, chosen);
}
