#pragma once

#include "CommandLine.h"
#include "ScreenshotCommand.h"

class CompositionRoot;
class QIODevice;
class QTextStream;
class ScreenCapturePlatform;

// `qorvel screenshot --select`: the screens are frozen, the user picks a window, an area or a
// display in the overlay, and the capture is cut from the frozen screens and delivered. Runs
// in the command's own process or, handed over, in the running instance.
class SelectionScreenshot
{
public:
    // The exit status: 0, or 1 after saying why (the selection cancelled included).
    static int run(const ScreenshotOptions &options, CompositionRoot &root, ScreenCapturePlatform &live,
        const ScreenshotCommand::Deliver &deliver, QIODevice &standardOutput, QTextStream &errors);
};
