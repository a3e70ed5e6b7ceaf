#pragma once

#include "CaptureOutput.h"
#include "CaptureTarget.h"
#include "CommandLine.h"
#include "ScreenshotHandOver.h"

#include <functional>
#include <optional>

class QIODevice;
class QTextStream;
class Preferences;
class ScreenCapturePlatform;

// `qorvel screenshot`: capture a target and deliver it as the tray application would (save,
// upload, copy and notify, by the preferences unless the options say otherwise), write it to
// the file -o names, or to standard output. Prints the saved file's path and the link, one per
// line.
class ScreenshotCommand
{
public:
    // Hands the capture over and returns once it is delivered, or why it could not be;
    // `notify` is false when the command's own output is the whole report.
    using Deliver = std::function<Result<DeliveryOutcome>(ScreenshotHandOver::Capture, bool notify)>;

    ScreenshotCommand(ScreenCapturePlatform &platform, const Preferences &preferences, Deliver deliver);

    // The exit status: 0, or 1 after printing the error's description to `errors`. `chosen` is a
    // target the user picked in the selection overlay; without it the options decide.
    int run(const ScreenshotOptions &options, QIODevice &standardOutput, QTextStream &errors,
        const std::optional<CaptureTarget> &chosen = std::nullopt);

private:
    ScreenCapturePlatform &m_platform;
    const Preferences &m_preferences;
    Deliver m_deliver;
};
