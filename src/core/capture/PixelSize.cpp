#include "PixelSize.h"

#include <cmath>
#include <limits>

namespace {

qint64 toPixels(double points, double scale)
{
    const double product = points * scale;
    // 2^63 itself is not representable as qint64, so the bound is exclusive.
    constexpr double limit = 9223372036854775808.0;
    if (!std::isfinite(product) || std::round(product) >= limit || std::round(product) < -limit)
        qFatal("pixelSize: %g points at scale %g is not a pixel count", points, scale);
    return static_cast<qint64>(std::round(product)); // std::round: halves away from zero
}

} // namespace

PixelSize pixelSize(const QSizeF &sizeInPoints, double scale)
{
    return {toPixels(sizeInPoints.width(), scale), toPixels(sizeInPoints.height(), scale)};
}

QPoint pixelOrigin(const QPointF &points, double scale)
{
    return QPoint(int(toPixels(points.x(), scale)), int(toPixels(points.y(), scale)));
}

QRectF alignedToPixels(const QRectF &rect, double scale)
{
    if (!(scale > 0))
        return rect;
    const double left = std::floor(rect.left() * scale);
    const double top = std::floor(rect.top() * scale);
    const double right = std::ceil(rect.right() * scale);
    const double bottom = std::ceil(rect.bottom() * scale);
    return QRectF(left / scale, top / scale, (right - left) / scale, (bottom - top) / scale);
}
