#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

// Writes `content` to `path` for a test to use; a test that cannot even do that stops at once.
inline QString writeTestFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}
