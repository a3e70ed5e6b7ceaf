#include "RecordingSettings.h"

#include "Preferences.h"

RecordingSettings readRecordingSettings(const Preferences &preferences)
{
    RecordingSettings settings;
    settings.quality = preferences.enumValue(PreferenceKey::videoQuality, videoQualityRawValues, VideoQuality::medium);
    settings.codec = preferences.enumValue(PreferenceKey::videoCodec, videoCodecRawValues, VideoCodec::h264);
    settings.maxResolution = preferences.enumValue(
        PreferenceKey::videoMaxResolution, videoMaxResolutionRawValues, VideoMaxResolution::unlimited);
    settings.showsCursor = preferences.boolValue(PreferenceKey::videoShowsCursor);
    return settings;
}
