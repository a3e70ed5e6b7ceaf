#include "DisplaysCommand.h"

#include "ScreenCapturePlatform.h"

#include <QTextStream>

int DisplaysCommand::run(ScreenCapturePlatform &platform, QTextStream &output, QTextStream &errors)
{
    const Result<ScreenContent> content = platform.shareableContent();
    if (!content) {
        errors << "qorvel: " << content.error().message << '\n';
        return 1;
    }
    for (const ScreenDisplay &display : content->displays) {
        const QRectF &frame = display.frame;
        output << display.id << '\t' << frame.x() << ',' << frame.y() << ' ' << frame.width() << 'x' << frame.height()
               << '\t' << display.scale << '\t' << display.name << '\n';
    }
    return 0;
}
