#pragma once

#include <QString>

// Text from outside (a path, a server's message) as the command line prints it: control
// characters, which a terminal would obey, are shown as escapes ("\x1b", "\n") instead.
QString printableText(const QString &text);
