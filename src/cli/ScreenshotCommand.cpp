#include "ScreenshotCommand.h"

#include "ErrorOutput.h"
#include "TerminalText.h"

#include <QTextStream>

CommandAnswer ScreenshotCommand::report(const ScreenshotOutcome &outcome)
{
    CommandAnswer answer;
    QTextStream errors(&answer.errors);
    switch (outcome.kind) {
    case ScreenshotOutcome::Kind::cancelled:
        answer.status = printError(errors, QStringLiteral("the selection was cancelled"));
        return answer;
    case ScreenshotOutcome::Kind::unavailable:
        answer.status = printError(errors, QLatin1String("Screen capture is unavailable: ") + outcome.error.message);
        return answer;
    case ScreenshotOutcome::Kind::permissionMissing:
        answer.status = printError(errors, QStringLiteral("Qorvel needs the Screen Recording permission"));
        return answer;
    case ScreenshotOutcome::Kind::failed:
        answer.status = printError(errors, outcome.error);
        return answer;
    case ScreenshotOutcome::Kind::encoded:
        answer.output = outcome.encoded;
        return answer;
    case ScreenshotOutcome::Kind::delivered:
        break;
    }

    const DeliveryOutcome &delivered = outcome.delivery;
    QTextStream output(&answer.output);
    if (delivered.saved())
        output << printableText(delivered.savedPath) << '\n';
    if (delivered.link)
        output << printableText(delivered.link->toString()) << '\n';
    output.flush();

    if (delivered.saveError)
        answer.status = printError(errors, QLatin1String("Couldn't save the file: ") + delivered.saveError->message);
    if (delivered.uploadRan && !delivered.uploaded()) {
        answer.status = printError(errors, QLatin1String("Upload failed: ") + delivered.uploadError);
        if (delivered.saved() && !delivered.saveWasOn)
            printError(errors, QLatin1String("saved as a fallback: ") + delivered.savedPath);
    }
    if (!delivered.saved() && !delivered.uploaded() && !delivered.copied && !delivered.saveError
        && !delivered.uploadRan)
        printError(errors, QStringLiteral("no output action is on: the screenshot was not kept"));
    return answer;
}
