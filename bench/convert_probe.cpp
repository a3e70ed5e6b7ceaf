// What the recorder's colour conversion costs: a BGRX screen frame to I420 (YUV 4:2:0) with
// libswscale as the writer does it (BT.709, full-range source, limited-range output, bilinear),
// against libyuv's ARGBToI420, the usual fast path, which only knows BT.601 for RGB input.
// Also a 3840x2160 frame scaled to 1920x1080 on the way: swscale converts and scales in one
// pass, libyuv converts at full size and then runs I420Scale. One thread each; the median of
// many runs. Last, how far each result's luma is from BT.709 computed by hand, so the figures
// are seen to buy a different picture, not the same one.
//
//   convert_probe [--runs N]

#include "Bt709Converter.h"

#include <libyuv/convert.h>
#include <libyuv/scale.h>

extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

struct Frame
{
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels; // B, G, R, X
    int stride() const { return width * 4; }
};

struct Planes
{
    int width = 0;
    int height = 0;
    std::vector<uint8_t> y, u, v;
    Planes(int w, int h)
        : width(w)
        , height(h)
        , y(size_t(w) * size_t(h))
        , u(size_t((w + 1) / 2) * size_t((h + 1) / 2))
        , v(u.size())
    {
    }
    int chromaStride() const { return (width + 1) / 2; }
};

// Flat panels, text-like runs of dark and light, and a gradient: every converter here does
// the same work whatever the pixels are, but a frame of one colour would hide a wrong result.
Frame desktopFrame(int width, int height)
{
    Frame frame{width, height, std::vector<uint8_t>(size_t(width) * size_t(height) * 4)};
    uint32_t seed = 2024;
    const auto next = [&seed] { return seed = seed * 1664525u + 1013904223u; };
    for (int y = 0; y < height; ++y) {
        uint8_t *row = frame.pixels.data() + size_t(y) * size_t(frame.stride());
        for (int x = 0; x < width; ++x) {
            uint8_t *pixel = row + size_t(x) * 4;
            const bool panel = (x / 640 + y / 360) % 2 == 0;
            const bool ink = (next() >> 28) == 0;
            pixel[0] = uint8_t(panel ? (ink ? 40 : 245) : x * 255 / width);
            pixel[1] = uint8_t(panel ? (ink ? 60 : 244) : y * 255 / height);
            pixel[2] = uint8_t(panel ? (ink ? 200 : 240) : (x + y) % 256);
            pixel[3] = 255;
        }
    }
    return frame;
}

struct SwsDeleter
{
    void operator()(SwsContext *context) const { sws_freeContext(context); }
};
using Scaler = std::unique_ptr<SwsContext, SwsDeleter>;

// The writer's own set-up: BGR0 in, YUV420P out, BT.709 both ways, full range in, limited out.
Scaler recorderScaler(int fromWidth, int fromHeight, int toWidth, int toHeight, int colourspace)
{
    Scaler scaler(sws_getContext(fromWidth, fromHeight, AV_PIX_FMT_BGR0, toWidth, toHeight, AV_PIX_FMT_YUV420P,
        SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!scaler) {
        std::fprintf(
            stderr, "convert_probe: swscale refused %dx%d -> %dx%d\n", fromWidth, fromHeight, toWidth, toHeight);
        std::exit(1);
    }
    const int *coefficients = sws_getCoefficients(colourspace);
    sws_setColorspaceDetails(scaler.get(), coefficients, 1, coefficients, 0, 0, 1 << 16, 1 << 16);
    return scaler;
}

void swscaleInto(SwsContext *scaler, const Frame &frame, Planes &out)
{
    const uint8_t *const source[] = {frame.pixels.data()};
    const int sourceStride[] = {frame.stride()};
    uint8_t *const target[] = {out.y.data(), out.u.data(), out.v.data()};
    const int targetStride[] = {out.width, out.chromaStride(), out.chromaStride()};
    sws_scale(scaler, source, sourceStride, 0, frame.height, target, targetStride);
}

void libyuvInto(const Frame &frame, Planes &out)
{
    libyuv::ARGBToI420(frame.pixels.data(), frame.stride(), out.y.data(), out.width, out.u.data(), out.chromaStride(),
        out.v.data(), out.chromaStride(), frame.width, frame.height);
}

void libyuvScale(const Planes &from, Planes &to)
{
    libyuv::I420Scale(from.y.data(), from.width, from.u.data(), from.chromaStride(), from.v.data(), from.chromaStride(),
        from.width, from.height, to.y.data(), to.width, to.u.data(), to.chromaStride(), to.v.data(), to.chromaStride(),
        to.width, to.height, libyuv::kFilterBilinear);
}

struct Timing
{
    double median = 0;
    double min = 0;
};

// A few untimed runs first: the first touches fresh pages and builds swscale's filters.
Timing measure(int runs, const std::function<void()> &work)
{
    for (int i = 0; i < 3; ++i)
        work();
    std::vector<double> ms;
    ms.reserve(size_t(runs));
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(ms.begin(), ms.end());
    return {ms[ms.size() / 2], ms.front()};
}

// The largest difference between `out`'s luma and BT.709 limited-range luma computed from the
// frame (same size only).
int lumaOffBt709(const Frame &frame, const Planes &out)
{
    int worst = 0;
    for (int y = 0; y < frame.height; y += 7) {
        for (int x = 0; x < frame.width; x += 5) {
            const uint8_t *pixel = frame.pixels.data() + size_t(y) * size_t(frame.stride()) + size_t(x) * 4;
            const double luma = 0.2126 * pixel[2] + 0.7152 * pixel[1] + 0.0722 * pixel[0];
            const int expected = int(std::lround(16.0 + luma * 219.0 / 255.0));
            worst = std::max(worst, std::abs(int(out.y[size_t(y) * size_t(out.width) + size_t(x)]) - expected));
        }
    }
    return worst;
}

void printRow(const char *what, const Timing &timing)
{
    std::printf("  %-52s %8.2f %8.2f\n", what, timing.median, timing.min);
}

} // namespace

int main(int argc, char *argv[])
{
    int runs = 100;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--runs") == 0 && i + 1 < argc) {
            runs = std::max(1, std::atoi(argv[++i]));
        } else {
            std::fprintf(stderr, "usage: convert_probe [--runs N]\n");
            return 2;
        }
    }

    std::printf("BGRX to I420, one thread, %d runs after 3 untimed; ms per frame\n", runs);
    std::printf("  %-52s %8s %8s\n", "", "median", "min");
    for (const auto &[width, height] : {std::pair{1920, 1080}, std::pair{3840, 2160}}) {
        const Frame frame = desktopFrame(width, height);
        Planes viaLibyuv(width, height);
        Planes viaSwscale(width, height);
        Planes viaSwscale601(width, height);
        Planes viaQorvel(width, height);
        const Scaler bt709 = recorderScaler(width, height, width, height, SWS_CS_ITU709);
        const Scaler bt601 = recorderScaler(width, height, width, height, SWS_CS_ITU601);
        const std::string size = std::to_string(width) + "x" + std::to_string(height);

        const Timing yuv = measure(runs, [&] { libyuvInto(frame, viaLibyuv); });
        const Timing sws = measure(runs, [&] { swscaleInto(bt709.get(), frame, viaSwscale); });
        const Timing sws601 = measure(runs, [&] { swscaleInto(bt601.get(), frame, viaSwscale601); });
        const Timing own = measure(runs, [&] {
            Bt709Converter::toI420(frame.pixels.data(), frame.stride(), width, height,
                {viaQorvel.y.data(), width, viaQorvel.u.data(), width / 2, viaQorvel.v.data(), width / 2});
        });
        printRow((size + ", libyuv ARGBToI420 (BT.601)").c_str(), yuv);
        printRow((size + ", swscale BGR0->YUV420P BT.709, bilinear").c_str(), sws);
        printRow((size + ", swscale the same with BT.601").c_str(), sws601);
        printRow((size + ", Qorvel's Bt709Converter").c_str(), own);
        std::printf("  %-52s %8.2fx\n", (size + ", swscale BT.709 / libyuv").c_str(), sws.median / yuv.median);
        std::printf("  %-52s libyuv %d, swscale BT.709 %d, swscale BT.601 %d, Qorvel %d\n",
            (size + ", largest luma error vs BT.709").c_str(), lumaOffBt709(frame, viaLibyuv),
            lumaOffBt709(frame, viaSwscale), lumaOffBt709(frame, viaSwscale601), lumaOffBt709(frame, viaQorvel));
    }

    // 4K to 1080p, as the recorder does under --max-resolution p1080.
    const Frame big = desktopFrame(3840, 2160);
    Planes full(3840, 2160);
    Planes small(1920, 1080);
    const Scaler oneStep = recorderScaler(3840, 2160, 1920, 1080, SWS_CS_ITU709);
    const Timing yuv = measure(runs, [&] {
        libyuvInto(big, full);
        libyuvScale(full, small);
    });
    const Timing sws = measure(runs, [&] { swscaleInto(oneStep.get(), big, small); });
    printRow("3840x2160 -> 1920x1080, libyuv ARGBToI420 + I420Scale", yuv);
    printRow("3840x2160 -> 1920x1080, swscale in one step, BT.709", sws);
    std::printf("  %-52s %8.2fx\n", "3840x2160 -> 1920x1080, swscale / libyuv", sws.median / yuv.median);
    return 0;
}
