#include "ExclusiveFile.h"

#include <QFile>

Result<void> ExclusiveFile::write(const QString &path, const QByteArray &data)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return Error{file.errorString(), QLatin1String("create ") + path};

    if (file.write(data) != data.size() || !file.flush()) {
        const QString reason = file.errorString();
        file.close();
        file.remove();
        return Error{reason, QLatin1String("write ") + path};
    }
    return {};
}
