#pragma once

#include <QLatin1String>
#include <QtGlobal>

#include <array>
#include <optional>
#include <utility>

// The largest frame the user wants in a recording; stored by raw value.
enum class VideoMaxResolution { unlimited, p1440, p1080, p720 };

inline constexpr std::array<std::pair<VideoMaxResolution, QLatin1String>, 4> videoMaxResolutionRawValues = {{
    {VideoMaxResolution::unlimited, QLatin1String("unlimited")},
    {VideoMaxResolution::p1440, QLatin1String("p1440")},
    {VideoMaxResolution::p1080, QLatin1String("p1080")},
    {VideoMaxResolution::p720, QLatin1String("p720")},
}};

// The cap as its long and its short side; none for `unlimited`.
constexpr std::optional<std::pair<qint64, qint64>> resolutionCap(VideoMaxResolution resolution)
{
    switch (resolution) {
    case VideoMaxResolution::unlimited:
        return std::nullopt;
    case VideoMaxResolution::p1440:
        return std::pair<qint64, qint64>{2560, 1440};
    case VideoMaxResolution::p1080:
        return std::pair<qint64, qint64>{1920, 1080};
    case VideoMaxResolution::p720:
        return std::pair<qint64, qint64>{1280, 720};
    }
    return std::nullopt;
}
