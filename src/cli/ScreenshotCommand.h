#pragma once

#include "InstanceChannel.h"
#include "ScreenshotOutcome.h"

// `qorvel screenshot` is a request to the screenshot service; this turns its outcome into what
// the command prints and its exit status: the saved file's path and the link, one per line,
// or the encoded image for -o -; failures in the system's words, one per line.
class ScreenshotCommand
{
public:
    static CommandAnswer report(const ScreenshotOutcome &outcome);
};
