#pragma once

class QTextStream;
class WindowListSource;

// `qorvel windows`: the windows a selection would offer, front to back: id, frame in points,
// owner PID, application (WM_CLASS instance). For scripts and bug reports.
class WindowsCommand
{
public:
    static int run(WindowListSource &source, QTextStream &output, QTextStream &errors);
};
