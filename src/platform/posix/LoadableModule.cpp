#include "LoadableModule.h"

#include <QDir>
#include <QFileInfo>
#include <QLibrary>

Result<QFunctionPointer> LoadableModule::entry(const QString &fileName, const char *symbol)
{
    const QDir executable = QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).absoluteDir();
    for (const QString &candidate :
        {executable.filePath(fileName), executable.filePath(QLatin1String("../lib/qorvel/") + fileName)}) {
        if (!QFileInfo::exists(candidate))
            continue;
        QLibrary library(candidate);
        library.setLoadHints(QLibrary::PreventUnloadHint);
        if (const QFunctionPointer function = library.resolve(symbol))
            return function;
        return Error{QStringLiteral("Couldn't load a part of Qorvel."), library.errorString()};
    }
    return Error{QStringLiteral("Couldn't load a part of Qorvel."),
        fileName + QLatin1String(" is not installed beside the executable")};
}
