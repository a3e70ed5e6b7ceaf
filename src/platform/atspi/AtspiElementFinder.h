#pragma once

#include "ElementFinder.h"

#include <QDBusConnection>
#include <QRect>
#include <QThread>

#include <functional>
#include <memory>
#include <optional>

class AtspiWalker;

// Element frames from the accessibility bus (AT-SPI2), spoken over QtDBus rather than libatspi:
// libatspi aborts the process when the bus is missing, and a missing or vanished bus must only
// cost the user element snapping.
//
// The walks run on a thread of their own, one at a time; every call gives up after a short time
// so a hung application cannot stall the overlay.
class AtspiElementFinder : public ElementFinder
{
    Q_OBJECT

public:
    // Pixels per point at a global point: AT-SPI speaks device pixels on X11.
    using ScaleAt = std::function<double(QPointF)>;

    // None when accessibility is off or there is no accessibility bus.
    static std::unique_ptr<AtspiElementFinder> create(const QDBusConnection &sessionBus, ScaleAt scaleAt);

    ~AtspiElementFinder() override;

    void find(const Request &request) override;

private:
    AtspiElementFinder(const QDBusConnection &accessibilityBus, ScaleAt scaleAt);

    void start(const Request &request);
    void walkFinished(quint64 serial, double pixelsPerPoint, const QList<QRect> &pixelFrames);

    QDBusConnection m_bus;
    ScaleAt m_scaleAt;
    QThread m_thread;
    AtspiWalker *m_walker = nullptr; // lives on m_thread; deleted when it finishes
    bool m_walking = false;
    std::optional<Request> m_waiting;
};
