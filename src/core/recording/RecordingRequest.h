#pragma once

#include "RecordingSettings.h"

#include <QRectF>
#include <QString>

#include <optional>

// One recording as the command line asks for it; what it leaves open, the preferences decide.
struct RecordingRequest
{
    // The user picks the target in the selection overlay; otherwise as for a screenshot: a
    // window, else a display or an area of it, else the display under the pointer.
    bool select = false;
    std::optional<quint32> displayId;
    std::optional<quint32> windowId;
    std::optional<QRectF> areaInPoints;

    std::optional<double> durationSeconds; // none: until stopped
    std::optional<VideoCodec> codec;
    std::optional<VideoQuality> quality;
    std::optional<VideoMaxResolution> maxResolution;
    std::optional<bool> showsCursor;
    // Empty: delivered as a recording from the tray is. Otherwise exactly this new file.
    QString outputPath;

    RecordingSettings settingsOver(const RecordingSettings &preferred) const
    {
        return RecordingSettings{quality.value_or(preferred.quality), codec.value_or(preferred.codec),
            maxResolution.value_or(preferred.maxResolution), showsCursor.value_or(preferred.showsCursor)};
    }
};
