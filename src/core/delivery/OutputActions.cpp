#include "OutputActions.h"

#include "Preferences.h"

OutputActions OutputActions::forKind(const Preferences &preferences, UploadKind kind)
{
    const bool image = kind == UploadKind::image;
    return {
        preferences.boolValue(image ? PreferenceKey::screenshotCopyToClipboard : PreferenceKey::videoCopyToClipboard),
        preferences.boolValue(image ? PreferenceKey::screenshotSaveToFolder : PreferenceKey::videoSaveToFolder),
        preferences.boolValue(image ? PreferenceKey::screenshotUpload : PreferenceKey::videoUpload)};
}
