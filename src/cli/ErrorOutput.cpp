#include "ErrorOutput.h"

#include "TerminalText.h"

#include <QTextStream>

#include <cstdio>

int printError(QTextStream &errors, const QString &message)
{
    // Messages carry paths and servers' words, which may hold control characters.
    errors << "qorvel: " << printableText(message) << '\n' << Qt::flush;
    return 1;
}

bool standardOutputIsWritten()
{
    return std::fflush(stdout) == 0 && !std::ferror(stdout);
}

int printError(QTextStream &errors, const Error &error)
{
    if (error.detail.isEmpty())
        return printError(errors, error.message);
    return printError(errors, error.message + QLatin1String(" (") + error.detail + QLatin1Char(')'));
}
