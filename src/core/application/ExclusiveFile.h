#pragma once

#include "Result.h"

#include <QByteArray>
#include <QString>

// Writes a file that must not exist yet. The create is exclusive (O_EXCL), so a second
// writer that picked the same name fails instead of replacing the user's file, and a write
// that fails half-way leaves nothing behind.
class ExclusiveFile
{
public:
    static Result<void> write(const QString &path, const QByteArray &data);
};
