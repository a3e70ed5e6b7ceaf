#include "Bt709Converter.h"

#include <cstdint>

namespace {

// Luma in 16-bit arithmetic, coefficients in 1/256 steps (0.1826, 0.6142, 0.0620; at most one
// level off), so that the compiler handles eight or sixteen pixels an instruction.
inline uchar luma(const uchar *pixel)
{
    const auto sum = uint16_t(
        uint16_t(47 * pixel[2]) + uint16_t(157 * pixel[1]) + uint16_t(16 * pixel[0]) + uint16_t(16 * 256 + 128));
    return uchar(sum >> 8);
}

// Chroma from the sums of four pixels, coefficients in 1/65536 steps.
constexpr int32_t ur = -6596, ug = -22189, ub = 28785; // -0.1006, -0.3386, 0.4392
constexpr int32_t vr = 28785, vg = -26145, vb = -2640; // 0.4392, -0.3989, -0.0403
constexpr int32_t chromaOffset = (128 << 18) + (1 << 17);

} // namespace

void Bt709Converter::toI420(const uchar *bgrx, qsizetype stride, int width, int height, const Planes &out)
{
    for (int row = 0; row + 1 < height; row += 2) {
        const uchar *top = bgrx + row * stride;
        const uchar *bottom = top + stride;
        uchar *yTop = out.y + row * out.yStride;
        uchar *yBottom = yTop + out.yStride;
        for (qsizetype x = 0; x < width; ++x) {
            yTop[x] = luma(top + 4 * x);
            yBottom[x] = luma(bottom + 4 * x);
        }
        uchar *u = out.u + (row / 2) * out.uStride;
        uchar *v = out.v + (row / 2) * out.vStride;
        for (qsizetype x = 0; x + 1 < width; x += 2) {
            const uchar *a = top + 4 * x;
            const uchar *b = bottom + 4 * x;
            const int32_t blue = a[0] + a[4] + b[0] + b[4];
            const int32_t green = a[1] + a[5] + b[1] + b[5];
            const int32_t red = a[2] + a[6] + b[2] + b[6];
            u[x / 2] = uchar((ur * red + ug * green + ub * blue + chromaOffset) >> 18);
            v[x / 2] = uchar((vr * red + vg * green + vb * blue + chromaOffset) >> 18);
        }
    }
}
