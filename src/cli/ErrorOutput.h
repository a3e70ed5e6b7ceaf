#pragma once

#include "Error.h"

#include <QString>

class QTextStream;

// Every error the command line prints goes through here: "qorvel: " and the message, then the
// detail in parentheses when there is one. Returns 1, the status of a failed command.
int printError(QTextStream &errors, const QString &message);
int printError(QTextStream &errors, const Error &error);
