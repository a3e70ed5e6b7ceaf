#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

// Names every file written for the user from the `fileNameTemplate` preference, and picks a
// path in the target folder that names no existing file.
class FileNameTemplate
{
public:
    static QString defaultTemplate();
    // The seven tokens in the order the settings list them.
    static const QStringList &tokens();

    // The base name (no extension) for `instant` in the local calendar and time zone.
    static QString expand(const QString &nameTemplate, const QDateTime &instant);

    // folder/baseName.extension, or the first free "baseName (n).extension" for n = 2, 3, ...
    // A free path is only a good guess: write it with ExclusiveFile so a race fails instead
    // of replacing a file.
    static QString uniqueFilePath(const QString &folder, const QString &baseName, const QString &extension);
};
