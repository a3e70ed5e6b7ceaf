#include "ErrorOutput.h"

#include "TerminalText.h"

#include <QTextStream>

int printError(QTextStream &errors, const QString &message)
{
    // Messages carry paths and servers' words, which may hold control characters.
    errors << "qorvel: " << printableText(message) << '\n' << Qt::flush;
    return 1;
}

int printError(QTextStream &errors, const Error &error)
{
    if (error.detail.isEmpty())
        return printError(errors, error.message);
    return printError(errors, error.message + QLatin1String(" (") + error.detail + QLatin1Char(')'));
}
