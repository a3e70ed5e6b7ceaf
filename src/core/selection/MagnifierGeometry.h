#pragma once

#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QSizeF>
#include <QString>

// Where the magnifier looks and where it sits. It shows 15 × 15 pixels of the frozen screen
// around the pointer, eight times enlarged, with the coordinates in points below; drawing cuts
// that source rectangle out of the one frozen image, so no pixel is copied per pointer move.
class MagnifierGeometry
{
public:
    static constexpr int cells = 15;
    static constexpr double cellSize = 8.0;
    static constexpr QSizeF size{120.0, 140.0}; // the 15 × 8 image plus a 20-point readout
    static constexpr double pointerGap = 20.0;

    // The pixels shown, in the frozen image: the one under the pointer in the middle. Near the
    // edges part of it lies outside the image and shows empty.
    static QRect sourcePixels(const QPointF &pointInView, double scale);
    // "x  ×  y" in whole points from the display's top-left corner.
    static QString readout(const QPointF &pointInView);
    // Above and to the right of the pointer, flipped left or below at the view's edges.
    static QPointF position(const QPointF &pointer, const QRectF &bounds);
};
