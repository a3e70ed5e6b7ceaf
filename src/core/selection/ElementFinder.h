#pragma once

#include <QList>
#include <QObject>
#include <QPointF>
#include <QRectF>

// Finds the UI elements under a point inside one application's windows, for snapping to them.
// Frames are global points, top-left origin, smallest first as found walking up from the deepest
// element; empty when there are none.
class ElementFinder : public QObject
{
    Q_OBJECT

public:
    struct Request
    {
        quint64 serial = 0;
        qint64 pid = 0;
        QPointF point; // global points
    };

    using QObject::QObject;

    // Asynchronous. While a search runs only the newest waiting request is kept: the pointer has
    // moved on, so the older ones are dropped and never answered.
    virtual void find(const Request &request) = 0;

Q_SIGNALS:
    // Delivered on the thread that owns the finder.
    void found(quint64 serial, QList<QRectF> frames);
};
