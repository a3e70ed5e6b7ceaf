#pragma once

#include <QLatin1String>

#include <array>
#include <utility>

// How good a recording looks against how large its file grows; stored by raw value.
enum class VideoQuality { low, medium, high };

inline constexpr std::array<std::pair<VideoQuality, QLatin1String>, 3> videoQualityRawValues = {{
    {VideoQuality::low, QLatin1String("low")},
    {VideoQuality::medium, QLatin1String("medium")},
    {VideoQuality::high, QLatin1String("high")},
}};

// The encoder's quality, 0…1.
constexpr double encoderQuality(VideoQuality quality)
{
    switch (quality) {
    case VideoQuality::low:
        return 0.35;
    case VideoQuality::medium:
        return 0.5;
    case VideoQuality::high:
        return 0.65;
    }
    return 0.5;
}

// The peak bit rate at 1920 × 1080, in bits per second; other sizes scale from it.
constexpr qint64 baseBitRate(VideoQuality quality)
{
    switch (quality) {
    case VideoQuality::low:
        return 1'500'000;
    case VideoQuality::medium:
        return 2'500'000;
    case VideoQuality::high:
        return 4'000'000;
    }
    return 2'500'000;
}
