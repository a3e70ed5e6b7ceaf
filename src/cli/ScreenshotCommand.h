#pragma once

#include "CaptureTarget.h"
#include "CommandLine.h"

#include <optional>

class QIODevice;
class QTextStream;
class Preferences;
class ScreenCapturePlatform;

// `qorvel screenshot`: capture a target, encode it, write it. The same capture and encoder as
// the tray application; only the choice of target and file comes from the command line.
class ScreenshotCommand
{
public:
    ScreenshotCommand(ScreenCapturePlatform &platform, const Preferences &preferences);

    // The exit status: 0, or 1 after printing the error's description to `errors`. `chosen` is a
    // target the user picked in the selection overlay; without it the options decide.
    int run(const ScreenshotOptions &options, QIODevice &standardOutput, QTextStream &errors,
        const std::optional<CaptureTarget> &chosen = std::nullopt);

private:
    ScreenCapturePlatform &m_platform;
    const Preferences &m_preferences;
};
