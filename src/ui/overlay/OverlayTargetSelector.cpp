#include "OverlayTargetSelector.h"

#include "BitmapImage.h"
#include "ElementFinder.h"
#include "FrozenScreenCapture.h"
#include "PixelSize.h"
#include "WindowFilter.h"
#include "WindowListSource.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QScreen>

namespace {

// The Qt screen that shows `display`: by name, else by origin.
QScreen *screenFor(const ScreenDisplay &display)
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    for (QScreen *screen : screens) {
        if (screen->name() == display.name)
            return screen;
    }
    for (QScreen *screen : screens) {
        if (screen->geometry().topLeft() == display.pixelFrame.topLeft())
            return screen;
    }
    return nullptr;
}

} // namespace

OverlayTargetSelector::OverlayTargetSelector(ScreenCapturePlatform &live, MakeElementFinder makeElementFinder)
    : m_live(live)
    , m_makeElementFinder(std::move(makeElementFinder))
{
}

OverlayTargetSelector::~OverlayTargetSelector() = default;

void OverlayTargetSelector::select(bool showsMagnifier, Completion done)
{
    const Result<ScreenContent> content = m_live.shareableContent();
    if (!content) {
        done(content.error());
        return;
    }
    // The displays were just listed: each is grabbed directly rather than looked up again.
    QHash<quint32, Bitmap> frozen;
    QList<SelectionOverlayController::Display> displays;
    for (const ScreenDisplay &display : content->displays) {
        const Result<Bitmap> image = m_live.grabDisplayArea(
            display, QRectF(QPointF(0, 0), display.frame.size()), pixelSize(display.frame.size(), display.scale));
        if (!image)
            continue;
        frozen.insert(display.id, *image);
        displays << SelectionOverlayController::Display{display, screenFor(display), BitmapImage::wrap(*image)};
    }
    QList<SnapWindow> windows;
    if (WindowListSource *source = m_live.windowListSource()) {
        const Result<QList<SnapWindow>> fetched = WindowFilter::fetch(*source, QCoreApplication::applicationPid());
        if (fetched)
            windows = *fetched; // without a list the overlay still offers areas and displays
    }

    m_finder = m_makeElementFinder ? m_makeElementFinder() : nullptr;
    auto screens = std::make_shared<FrozenScreenCapture>(*content, frozen, m_live);
    m_overlay.start(
        displays, windows, showsMagnifier, m_finder.get(), [this, screens, done](std::optional<CaptureTarget> target) {
            m_finder.reset();
            if (!target) {
                done(std::optional<Selection>());
                return;
            }
            done(std::optional<Selection>(Selection{*target, screens}));
        });
    if (!m_overlay.isOpen()) {
        m_finder.reset();
        done(Error{QStringLiteral("There is no display to select on."), QString()});
    }
}
