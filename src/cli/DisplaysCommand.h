#pragma once

class QTextStream;
class ScreenCapturePlatform;

// `qorvel displays`: one line per display, primary first: id, frame in points, scale, name.
class DisplaysCommand
{
public:
    static int run(ScreenCapturePlatform &platform, QTextStream &output, QTextStream &errors);
};
