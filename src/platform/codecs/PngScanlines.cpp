#include "PngScanlines.h"

#include <QtEndian>

#include <algorithm>

namespace {

// Filter type 0 (None) on every row. On captured desktops (terminals, editors, dialogs) it gave
// the smallest files: the best per-row heuristic (fewest distinct byte pairs) was 4–7 % larger,
// the minimum sum of residues that most encoders use 6–10 %, Up and Paeth alone 12–17 %. Text
// and flat widgets repeat exactly in their raw bytes, which deflate finds; the other filters
// turn every glyph edge into new residues. Only photographs and gradients favour Up or Paeth
// (with a wallpaper showing on a sixteenth of the screen they saved 6–8 %). None also costs
// nothing and needs no previous row, so any row can start a part compressed on its own.
constexpr uchar filterNone = 0;

void packOpaque(const uchar *bgrx, int width, uchar *rgb)
{
    // A pixel read as a little-endian word is 0xXXRRGGBB; shifted left by 8 and stored
    // big-endian it is R, G, B, 0, and the next pixel overwrites that fourth byte.
    qsizetype x = 0;
    for (; x + 1 < width; ++x)
        qToBigEndian<quint32>(qFromLittleEndian<quint32>(bgrx + 4 * x) << 8, rgb + 3 * x);
    rgb[3 * x] = bgrx[4 * x + 2];
    rgb[3 * x + 1] = bgrx[4 * x + 1];
    rgb[3 * x + 2] = bgrx[4 * x];
}

// The nearest straight colour: round(c × 255 / a). Rounding, not truncating, is what makes
// premultiplying the stored colour again give back exactly the captured value.
inline uint unpremultiplied(uint colour, uint alpha)
{
    return std::min(255u, (colour * 255 + alpha / 2) / alpha);
}

void packUnpremultiplied(const uchar *bgra, int width, uchar *rgba)
{
    for (qsizetype x = 0; x < width; ++x) {
        const quint32 pixel = qFromLittleEndian<quint32>(bgra + 4 * x);
        const uint alpha = pixel >> 24;
        quint32 straight;
        if (alpha == 255) {
            straight = (pixel << 8) | alpha;
        } else if (alpha == 0) {
            straight = 0;
        } else {
            const uint red = unpremultiplied((pixel >> 16) & 0xff, alpha);
            const uint green = unpremultiplied((pixel >> 8) & 0xff, alpha);
            const uint blue = unpremultiplied(pixel & 0xff, alpha);
            straight = red << 24 | green << 16 | blue << 8 | alpha;
        }
        qToBigEndian<quint32>(straight, rgba + 4 * x);
    }
}

} // namespace

PngScanlines::PngScanlines(const Bitmap &image)
    : m_image(image)
    , m_hasAlpha(image.alpha() == Bitmap::Alpha::premultiplied)
{
}

void PngScanlines::write(int first, int count, uchar *out) const
{
    const qsizetype rowBytes = bytesPerRow();
    for (int y = first; y < first + count; ++y, out += rowBytes) {
        out[0] = filterNone;
        if (m_hasAlpha)
            packUnpremultiplied(m_image.scanLine(y), m_image.width(), out + 1);
        else
            packOpaque(m_image.scanLine(y), m_image.width(), out + 1);
    }
}
