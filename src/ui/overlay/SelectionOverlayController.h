#pragma once

#include "CaptureTarget.h"
#include "HoverResolution.h"
#include "ScreenContent.h"
#include "SelectionInteraction.h"

#include <QHash>
#include <QImage>
#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>

class ElementFinder;
class QScreen;
class SelectionOverlayView;

// Opens the selection overlay, one window per display, and turns the user's choice into a
// capture target. The windows bypass the window manager (override-redirect) and grab the
// keyboard, so Escape works whatever has the focus.
class SelectionOverlayController : public QObject
{
    Q_OBJECT

public:
    struct Display
    {
        ScreenDisplay display; // global points, as capture knows it
        QScreen *screen = nullptr;
        QImage frozen; // the display as grabbed just before the overlay opens
    };
    using Completion = std::function<void(std::optional<CaptureTarget>)>;

    static QString hintText(bool hasElementFinder);

    explicit SelectionOverlayController(QObject *parent = nullptr);
    ~SelectionOverlayController() override;

    // Does nothing while an overlay is open: the open one keeps its completion.
    // `finder` may be null (accessibility off): clicks then choose windows, not elements.
    void start(const QList<Display> &displays, const QList<SnapWindow> &windows, bool showsMagnifier,
        ElementFinder *finder, Completion completion);
    // Closes the overlay and reports `result`, once.
    void finish(std::optional<CaptureTarget> result);
    bool isOpen() const { return !m_views.isEmpty(); }

    const QList<QPointer<SelectionOverlayView>> &views() const { return m_views; }

private:
    static std::optional<CaptureTarget> targetFor(
        const Display &display, const SelectionOverlayView &view, const SelectionInteraction::Selection &selection);

    struct ElementRequest
    {
        SnapWindow window;
        QPointer<SelectionOverlayView> view;
        QRectF displayRect;
    };
    void elementsFound(quint64 serial, const QList<QRectF> &frames);

    QList<QPointer<SelectionOverlayView>> m_views;
    QList<SnapWindow> m_windows;
    QPointer<ElementFinder> m_finder;
    QHash<quint64, ElementRequest> m_elementRequests;
    quint64 m_lastSerial = 0;
    QList<QMetaObject::Connection> m_screenConnections;
    Completion m_completion;
    ElementCache m_cachedElements;
};
