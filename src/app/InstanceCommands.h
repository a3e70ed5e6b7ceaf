#pragma once

#include "InstanceChannel.h"

class ScreenshotService;
struct Invocation;

// Serves command-line screenshots in the running instance: Qt is up and the screen's shared
// memory is kept there, and the clipboard and the notification stay with a process that lives
// on, so no keeper is needed. The command is a request to the same screenshot service the
// tray uses; its answer is what the command prints.
class InstanceCommands
{
public:
    explicit InstanceCommands(ScreenshotService &screenshots);

    // A screenshot, chosen or selected, that is not written to standard output: what the
    // instance serves. Every other command runs in the calling process.
    static bool servable(const Invocation &invocation);

    InstanceChannel::Cancel run(const ForwardedCommand &command, const InstanceChannel::Reply &reply);

private:
    ScreenshotService &m_screenshots;
};
