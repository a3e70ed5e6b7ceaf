#pragma once

#include <QLatin1String>
#include <QtGlobal>

#include <array>
#include <utility>

// The video encoder of a recording; stored by raw value.
enum class VideoCodec { h264, hevc };

inline constexpr std::array<std::pair<VideoCodec, QLatin1String>, 2> videoCodecRawValues = {{
    {VideoCodec::h264, QLatin1String("h264")},
    {VideoCodec::hevc, QLatin1String("hevc")},
}};

// The largest frame the codec's profile encodes, as its long and its short side.
constexpr std::pair<qint64, qint64> largestFrame(VideoCodec codec)
{
    return codec == VideoCodec::hevc ? std::pair<qint64, qint64>{8192, 4320} : std::pair<qint64, qint64>{4096, 2304};
}
