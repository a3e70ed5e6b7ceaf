#pragma once

#include <QPoint>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QtGlobal>

// A size in device pixels. Shared by still capture, recording and the overlay's size readout,
// so that what the overlay shows is exactly what is captured.
struct PixelSize
{
    qint64 width = 0;
    qint64 height = 0;

    friend bool operator==(const PixelSize &, const PixelSize &) = default;
};

// Points times scale, rounded to the nearest integer with halves away from zero. Beyond what an
// int holds the count saturates, and a size that is not a number counts 0: no input aborts.
PixelSize pixelSize(const QSizeF &sizeInPoints, double scale);

// The pixel where an area that starts at `points` begins: rounded like pixelSize, so an area and
// its size always land on the same pixels.
QPoint pixelOrigin(const QPointF &points, double scale);

// The smallest rectangle of whole pixels that holds `rect`, in points again: what is framed is
// what is captured. `rect` unchanged when the scale is not positive.
QRectF alignedToPixels(const QRectF &rect, double scale);
