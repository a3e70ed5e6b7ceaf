#include "Bitmap.h"

#include <cstring>
#include <utility>

Bitmap::Bitmap(QSize size, qsizetype bytesPerLine, const uchar *pixels, std::shared_ptr<const void> owner, Alpha alpha)
    : m_size(size)
    , m_bytesPerLine(bytesPerLine)
    , m_pixels(pixels)
    , m_owner(std::move(owner))
    , m_alpha(alpha)
{
}

Bitmap Bitmap::allocate(QSize size, Alpha alpha)
{
    const qsizetype bytesPerLine = qsizetype(size.width()) * 4;
    const qsizetype bytes = bytesPerLine * size.height();
    std::shared_ptr<uchar[]> memory(new uchar[std::max<qsizetype>(bytes, 1)]());
    const uchar *pixels = memory.get();
    return Bitmap(size, bytesPerLine, pixels, std::shared_ptr<const void>(memory, pixels), alpha);
}

Bitmap Bitmap::cropped(const QRect &rect) const
{
    const QRect inside = rect.intersected(QRect(QPoint(0, 0), m_size));
    if (inside.isEmpty() || isNull())
        return {};
    return Bitmap(inside.size(), m_bytesPerLine, scanLine(inside.y()) + qsizetype(inside.x()) * 4, m_owner, m_alpha);
}
