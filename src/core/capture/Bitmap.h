#pragma once

#include <QRect>
#include <QSize>
#include <QtGlobal>

#include <memory>

// Captured pixels, 32 bits each, top row first. Memory order per pixel is B, G, R, A (a
// little-endian 0xAARRGGBB word): what an X server hands out at depth 24 and 32, and what
// QImage's Format_RGB32 / Format_ARGB32_Premultiplied read without conversion.
//
// A Bitmap does not copy: it points into memory kept alive by `owner` (a shared-memory
// segment, an X reply, a heap buffer), and `cropped` returns a view into the same memory.
class Bitmap
{
public:
    enum class Alpha {
        ignored, // the fourth byte is padding; the image is opaque
        premultiplied, // the fourth byte is alpha and the colours are premultiplied by it
    };

    Bitmap() = default;
    Bitmap(QSize size, qsizetype bytesPerLine, const uchar *pixels, std::shared_ptr<const void> owner,
        Alpha alpha = Alpha::ignored);

    // A new zero-filled bitmap that owns its memory.
    static Bitmap allocate(QSize size, Alpha alpha = Alpha::ignored);

    bool isNull() const { return m_pixels == nullptr; }
    QSize size() const { return m_size; }
    int width() const { return m_size.width(); }
    int height() const { return m_size.height(); }
    qsizetype bytesPerLine() const { return m_bytesPerLine; }
    Alpha alpha() const { return m_alpha; }

    const uchar *constBits() const { return m_pixels; }
    const uchar *scanLine(int y) const { return m_pixels + y * m_bytesPerLine; }
    // Writable only for bitmaps made by allocate(); views share the memory.
    uchar *bits() { return const_cast<uchar *>(m_pixels); }

    // The part of this bitmap inside `rect` (clipped to it), sharing the same memory.
    Bitmap cropped(const QRect &rect) const;

    const std::shared_ptr<const void> &owner() const { return m_owner; }

private:
    QSize m_size;
    qsizetype m_bytesPerLine = 0;
    const uchar *m_pixels = nullptr;
    std::shared_ptr<const void> m_owner;
    Alpha m_alpha = Alpha::ignored;
};
