#include "MagnifierGeometry.h"

#include <cmath>

QRect MagnifierGeometry::sourcePixels(const QPointF &pointInView, double scale)
{
    const int half = cells / 2;
    return QRect(
        int(std::floor(pointInView.x() * scale)) - half, int(std::floor(pointInView.y() * scale)) - half, cells, cells);
}

QString MagnifierGeometry::readout(const QPointF &pointInView)
{
    return QString::number(qint64(std::trunc(pointInView.x()))) + QStringLiteral("  \u00d7  ")
        + QString::number(qint64(std::trunc(pointInView.y())));
}

QPointF MagnifierGeometry::position(const QPointF &pointer, const QRectF &bounds)
{
    double x = pointer.x() + pointerGap;
    if (x + size.width() > bounds.right())
        x = pointer.x() - pointerGap - size.width();
    double y = pointer.y() - pointerGap - size.height(); // above the pointer
    if (y < bounds.top())
        y = pointer.y() + pointerGap;
    return QPointF(x, y);
}
