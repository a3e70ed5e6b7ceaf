#include "PixelSize.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

qint64 toPixels(double points, double scale)
{
    // Saturated to int: every image, QRect and X request counts pixels in int, and no screen
    // comes near. Sizes outside any screen (a typed area, a message from another process) are
    // cut to their display by the callers; this only keeps the arithmetic defined until then.
    constexpr double largest = std::numeric_limits<int>::max();
    const double product = std::round(points * scale); // std::round: halves away from zero
    if (std::isnan(product))
        return 0;
    return static_cast<qint64>(std::clamp(product, -largest, largest));
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
