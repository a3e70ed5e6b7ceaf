#include "VideoEncodingPlan.h"

#include "PixelSize.h"

#include <algorithm>
#include <cmath>

namespace {

// The pixels of 1920 × 1080, where each quality's base bit rate applies.
constexpr double referencePixels = 1920.0 * 1080.0;
// Below this a recording's text smears into blocks, however small the frame.
constexpr qint64 lowestPeakBitRate = 800'000;

// A limit given as (long, short) applies by orientation: a portrait source's width meets the
// short side. A square counts as landscape.
std::pair<double, double> byOrientation(std::pair<qint64, qint64> longShort, qint64 width, qint64 height)
{
    const auto [longSide, shortSide] = longShort;
    return width < height ? std::pair<double, double>(double(shortSide), double(longSide))
                          : std::pair<double, double>(double(longSide), double(shortSide));
}

// Truncated, at least 2, then even by rounding down: encoders take whole 2×2 chroma blocks.
qint64 outputSide(qint64 source, double factor)
{
    const auto side = std::max<qint64>(qint64(double(source) * factor), 2);
    return side & ~qint64(1);
}

} // namespace

VideoEncodingPlan makePlan(const QSizeF &sizeInPoints, double scale, const RecordingSettings &settings)
{
    const PixelSize source = pixelSize(sizeInPoints, scale);
    const qint64 width = std::max<qint64>(source.width, 2);
    const qint64 height = std::max<qint64>(source.height, 2);

    const auto [codecWidth, codecHeight] = byOrientation(largestFrame(settings.codec), width, height);
    // Never scaled up.
    double factor = std::min({codecWidth / double(width), codecHeight / double(height), 1.0});
    if (const auto cap = resolutionCap(settings.maxResolution)) {
        const auto [capWidth, capHeight] = byOrientation(*cap, width, height);
        factor = std::min({factor, capWidth / double(width), capHeight / double(height)});
    }

    VideoEncodingPlan plan;
    plan.width = outputSide(width, factor);
    plan.height = outputSide(height, factor);
    const double pixels = double(plan.width * plan.height);
    const auto rate = qint64(std::sqrt(pixels / referencePixels) * double(baseBitRate(settings.quality)));
    plan.peakBitRate = std::max(rate, lowestPeakBitRate);
    plan.quality = encoderQuality(settings.quality);
    plan.codec = settings.codec;
    return plan;
}
