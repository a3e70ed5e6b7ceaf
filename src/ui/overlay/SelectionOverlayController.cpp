#include "SelectionOverlayController.h"

#include "ElementFinder.h"
#include "PixelSize.h"
#include "SelectionOverlayView.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

namespace {

QList<SnapLevel> toView(const QList<SnapLevel> &levels, const QPointF &displayOrigin)
{
    QList<SnapLevel> moved = levels;
    for (SnapLevel &level : moved)
        level.frame.translate(-displayOrigin);
    return moved;
}

} // namespace

QString SelectionOverlayController::hintText(bool hasElementFinder)
{
    return hasElementFinder
        ? QStringLiteral(
            "Drag: area  \u00b7  Click: element or window  \u00b7  Scroll: smaller / larger  \u00b7  Esc: cancel")
        : QStringLiteral("Drag: area  \u00b7  Click: window  \u00b7  Scroll: window / screen  \u00b7  Esc: cancel");
}

SelectionOverlayController::SelectionOverlayController(QObject *parent)
    : QObject(parent)
{
}

SelectionOverlayController::~SelectionOverlayController()
{
    for (const QPointer<SelectionOverlayView> &view : std::as_const(m_views))
        delete view.data();
}

void SelectionOverlayController::start(const QList<Display> &displays, const QList<SnapWindow> &windows,
    bool showsMagnifier, ElementFinder *finder, Completion completion)
{
    if (isOpen())
        return;
    m_completion = std::move(completion);
    m_cachedElements.clear();
    m_windows = windows;
    m_finder = finder;
    if (m_finder)
        connect(m_finder, &ElementFinder::found, this, &SelectionOverlayController::elementsFound);

    const QPoint pointer = QCursor::pos();
    SelectionOverlayView *keyView = nullptr;
    for (const Display &display : displays) {
        if (!display.screen || display.frozen.isNull())
            continue;
        auto view = new SelectionOverlayView(display.frozen, display.display.scale, showsMagnifier);
        view->setWindowFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint
            | Qt::X11BypassWindowManagerHint | Qt::NoDropShadowWindowHint);
        view->setAttribute(Qt::WA_DeleteOnClose);
        view->setScreen(display.screen);
        view->setGeometry(display.screen->geometry());

        const QRectF displayRect = display.display.frame;
        const QPointer<SelectionOverlayView> weakView(view);
        view->onHoverMove = [this, weakView, displayRect](const QPointF &inView) {
            if (!weakView)
                return;
            const QPointF point = inView + displayRect.topLeft();
            const HoverResult hover
                = HoverResolution::resolve(point, displayRect, m_windows, m_cachedElements, m_finder != nullptr);
            weakView->setLevels(toView(hover.levels, displayRect.topLeft()), hover.preferredIndex);
            // Windows of unknown owner cannot be found on the accessibility bus.
            if (m_finder && hover.elementRequest && hover.elementRequest->ownerPid > 0) {
                const quint64 serial = ++m_lastSerial;
                m_elementRequests.insert(serial, {*hover.elementRequest, weakView, displayRect});
                m_finder->find({serial, hover.elementRequest->ownerPid, point});
            }
        };
        view->onSelect = [this, weakView, display](const SelectionInteraction::Selection &selection) {
            if (!weakView)
                return;
            finish(targetFor(display, *weakView, selection));
        };
        view->onCancel = [this] { finish(std::nullopt); };
        m_views << view;

        if (display.screen->geometry().contains(pointer)) {
            view->onHoverMove(QPointF(pointer - display.screen->geometry().topLeft()));
            view->showHint(hintText(m_finder != nullptr));
            keyView = view;
        }
        view->show();
    }
    if (!keyView && !m_views.isEmpty())
        keyView = m_views.first();
    if (keyView) {
        keyView->activateWindow();
        keyView->setFocus();
        keyView->grabKeyboardWhenMapped();
    }

    // A display added, removed or resized while the overlay is up: its geometry no longer holds.
    const auto cancel = [this] { finish(std::nullopt); };
    m_screenConnections << connect(qApp, &QGuiApplication::screenAdded, this, cancel);
    m_screenConnections << connect(qApp, &QGuiApplication::screenRemoved, this, cancel);
    for (const Display &display : displays) {
        if (display.screen)
            m_screenConnections << connect(display.screen, &QScreen::geometryChanged, this, cancel);
    }
}

std::optional<CaptureTarget> SelectionOverlayController::targetFor(
    const Display &display, const SelectionOverlayView &view, const SelectionInteraction::Selection &chosen)
{
    const quint32 displayId = display.display.id;
    if (const auto *area = std::get_if<QRectF>(&chosen))
        return CaptureTarget::area(displayId, area->normalized());

    const auto &hover = std::get<SelectionInteraction::Hover>(chosen);
    if (const auto *window = std::get_if<SnapLevel::Window>(&hover.kind))
        return CaptureTarget::window(window->id);
    if (std::holds_alternative<SnapLevel::Display>(hover.kind))
        return CaptureTarget::display(displayId);
    const QRectF bounds(QPointF(0, 0), QSizeF(view.size()));
    // Element rectangles come from another application in points: snap them outward to whole
    // pixels of this display, inside it, as a drag would be.
    const QRectF inside = hover.rect.intersected(bounds);
    return CaptureTarget::area(
        displayId, alignedToPixels(inside, display.screen->devicePixelRatio()).intersected(bounds));
}

void SelectionOverlayController::finish(std::optional<CaptureTarget> result)
{
    if (!isOpen())
        return;
    for (const QPointer<SelectionOverlayView> &view : std::as_const(m_views)) {
        if (view) {
            if (view->windowHandle())
                view->windowHandle()->setKeyboardGrabEnabled(false);
            view->close();
        }
    }
    m_views.clear();
    m_cachedElements.clear();
    m_windows.clear();
    m_elementRequests.clear();
    if (m_finder)
        disconnect(m_finder, nullptr, this, nullptr);
    m_finder.clear();
    for (const QMetaObject::Connection &connection : std::as_const(m_screenConnections))
        disconnect(connection);
    m_screenConnections.clear();
    if (Completion completion = std::exchange(m_completion, {}))
        completion(result);
}

void SelectionOverlayController::elementsFound(quint64 serial, const QList<QRectF> &frames)
{
    // The finder answers only some requests: everything asked before this one is stale now.
    const auto request = m_elementRequests.constFind(serial);
    if (request == m_elementRequests.cend() || !isOpen())
        return;
    // A copy: the loop below erases the request from the hash.
    const ElementRequest asked = *request; // NOLINT(performance-unnecessary-copy-initialization)
    for (auto it = m_elementRequests.begin(); it != m_elementRequests.end();)
        it = it.key() <= serial ? m_elementRequests.erase(it) : std::next(it);
    if (!asked.view)
        return;
    const std::optional<HoverResult> result = HoverResolution::acceptElementReply(
        asked.window, frames, QPointF(QCursor::pos()), asked.displayRect, m_windows, m_cachedElements);
    if (result)
        asked.view->setLevels(toView(result->levels, asked.displayRect.topLeft()), result->preferredIndex);
}
