#pragma once

#include "Result.h"

#include <QFunctionPointer>
#include <QString>

// A part of Qorvel kept in a shared module of its own and loaded on first use, so that its
// libraries cost nothing to the processes (and the idle tray) that never use it.
class LoadableModule
{
public:
    // The function `symbol` of the module `fileName`: beside the executable in a build, in its
    // library folder when installed. A loaded module stays for the life of the process, since
    // the libraries behind it keep state of their own.
    static Result<QFunctionPointer> entry(const QString &fileName, const char *symbol);
};
