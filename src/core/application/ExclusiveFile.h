#pragma once

#include "Result.h"

#include <QByteArray>
#include <QString>

// Writes a file that must not exist yet. The create is exclusive (O_EXCL, and a symbolic link
// at the name counts as existing), so a second writer that picked the same name fails instead
// of replacing the user's file, and a write that fails half-way leaves nothing behind.
// Failures are the system's own words ("No space left on device").
class ExclusiveFile
{
public:
    enum class Access {
        shared, // as the user's umask allows: a file the user keeps
        privateToUser, // 0600: a capture staged before its delivery
    };

    static Result<void> write(const QString &path, const QByteArray &data, Access access = Access::shared);
};
