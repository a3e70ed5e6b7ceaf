#include "ErrorOutput.h"

#include <QTextStream>

int printError(QTextStream &errors, const QString &message)
{
    errors << "qorvel: " << message << '\n' << Qt::flush;
    return 1;
}

int printError(QTextStream &errors, const Error &error)
{
    if (error.detail.isEmpty())
        return printError(errors, error.message);
    return printError(errors, error.message + QLatin1String(" (") + error.detail + QLatin1Char(')'));
}
