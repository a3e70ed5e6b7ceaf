#pragma once

struct Invocation;

// The command line's capture commands (screenshot, displays, windows) in the command's own
// process: they run without the tray, claim no single-instance channel, and exit when done.
class CaptureCommands
{
public:
    // Does not return: the process exits with the command's status.
    [[noreturn]] static void run(const Invocation &invocation, int &argc, char **argv);
};
