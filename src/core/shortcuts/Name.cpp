#include "Name.h"

namespace KeyboardShortcuts {

Name Name::captureScreenshot()
{
    return {QStringLiteral("captureScreenshot"), Shortcut{21, CarbonModifier::shift | CarbonModifier::option}};
}

Name Name::recordVideo()
{
    return {QStringLiteral("recordVideo"), Shortcut{23, CarbonModifier::shift | CarbonModifier::option}};
}

Name Name::cancelRecording()
{
    return {QStringLiteral("cancelRecording"), Shortcut{53, 0}};
}

} // namespace KeyboardShortcuts
