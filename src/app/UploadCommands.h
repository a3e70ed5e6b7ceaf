#pragma once

struct Invocation;

// The command line's upload commands (upload, uploads, account): no display needed, no tray,
// no single-instance channel.
class UploadCommands
{
public:
    static bool handles(const Invocation &invocation);
    // The command's exit status.
    static int run(const Invocation &invocation, int &argc, char **argv);
};
