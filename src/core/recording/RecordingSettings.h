#pragma once

#include "VideoCodec.h"
#include "VideoMaxResolution.h"
#include "VideoQuality.h"

class Preferences;

// The recording preferences as one snapshot, read when a recording starts: a recording keeps
// the settings it started with, whatever the user changes meanwhile.
struct RecordingSettings
{
    VideoQuality quality = VideoQuality::medium;
    VideoCodec codec = VideoCodec::h264;
    VideoMaxResolution maxResolution = VideoMaxResolution::unlimited;
    bool showsCursor = false;

    friend bool operator==(const RecordingSettings &, const RecordingSettings &) = default;
};

// A stored string that is no raw value (another letter case included) reads as the default.
RecordingSettings readRecordingSettings(const Preferences &preferences);
