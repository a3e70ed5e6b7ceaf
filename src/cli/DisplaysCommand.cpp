#include "DisplaysCommand.h"

#include "ErrorOutput.h"
#include "ScreenCapturePlatform.h"
#include "TerminalText.h"

#include <QTextStream>

int DisplaysCommand::run(ScreenCapturePlatform &platform, QTextStream &output, QTextStream &errors)
{
    const Result<ScreenContent> content = platform.shareableContent();
    if (!content)
        return printError(errors, content.error().message);
    for (const ScreenDisplay &display : content->displays) {
        const QRectF &frame = display.frame;
        output << display.id << '\t' << frame.x() << ',' << frame.y() << ' ' << frame.width() << 'x' << frame.height()
               << '\t' << display.scale << '\t' << printableText(display.name) << '\n';
    }
    return 0;
}
