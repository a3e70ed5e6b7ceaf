#pragma once

#include "Error.h"

#include <QString>

class QTextStream;

// Every error the command line prints goes through here: "qorvel: " and the message, then the
// detail in parentheses when there is one. Returns 1, the status of a failed command.
int printError(QTextStream &errors, const QString &message);
int printError(QTextStream &errors, const Error &error);

// Flushes standard output and tells whether everything written to it arrived: a full disk or a
// closed pipe must not look like success to the script that reads it.
bool standardOutputIsWritten();
