#pragma once

#include "RecordingSettings.h"

#include <QSizeF>
#include <QtGlobal>

// What a recording is encoded as, fixed once before it starts and given alike to the frame
// source (the frame size) and the file writer.
struct VideoEncodingPlan
{
    qint64 width = 2; // pixels; even, at least 2
    qint64 height = 2;
    double quality = 0.5; // the encoder's, 0…1
    qint64 peakBitRate = 800'000; // bits per second
    VideoCodec codec = VideoCodec::h264;

    friend bool operator==(const VideoEncodingPlan &, const VideoEncodingPlan &) = default;
};

// The plan for content of `sizeInPoints` at `scale` pixels per point: never larger than the
// source, the codec's largest frame or the user's cap; even sides; a peak bit rate that grows
// with the square root of the pixel count from the quality's rate at 1920 × 1080.
VideoEncodingPlan makePlan(const QSizeF &sizeInPoints, double scale, const RecordingSettings &settings);
