#include "ThumbnailSize.h"

#include <algorithm>
#include <cmath>

QSize thumbnailSize(QSize image)
{
    const int longer = std::max(image.width(), image.height());
    if (longer <= 0)
        return QSize();
    const double factor = std::min(1.0, double(thumbnailLongestSide) / double(longer));
    const auto scaled = [factor](int side) { return std::max(1, int(std::lround(side * factor))); };
    return QSize(scaled(image.width()), scaled(image.height()));
}
