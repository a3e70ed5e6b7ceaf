#pragma once

#include "Result.h"

#include <QByteArray>
#include <QString>

// A file that must not exist yet, written through the system's calls. The create is exclusive
// (O_EXCL, and a symbolic link at the name counts as existing), so a second writer that picked
// the same name fails instead of replacing the user's file; a file not finished is removed, so
// a write that fails half-way leaves nothing behind. Failures are the system's own words ("No
// space left on device"; Qt reports a short write as "Unknown error").
class ExclusiveFile
{
public:
    enum class Access {
        shared, // as the user's umask allows: a file the user keeps
        privateToUser, // 0600: a capture or a request body before its delivery
    };

    static Result<ExclusiveFile> create(const QString &path, Access access = Access::shared);
    // The whole file at once.
    static Result<void> write(const QString &path, const QByteArray &data, Access access = Access::shared);
    // Moves `source` to `path`, which must not exist either. Within one file system a rename
    // that keeps the file's mode; across file systems (a staging folder and a save folder on
    // different disks) a copy created as above, the source removed once the copy is whole.
    // Qt's own fallback copy reports a full disk as "Failure to write block".
    static Result<void> move(const QString &source, const QString &path, Access access = Access::shared);

    ExclusiveFile(ExclusiveFile &&other) noexcept;
    ExclusiveFile &operator=(ExclusiveFile &&) = delete;
    ExclusiveFile(const ExclusiveFile &) = delete;
    ExclusiveFile &operator=(const ExclusiveFile &) = delete;
    ~ExclusiveFile();

    Result<void> append(const QByteArray &bytes);
    // Closes the file and keeps it.
    Result<void> finish();

    QString path() const { return m_path; }

private:
    ExclusiveFile(QString path, int fd);
    Error failure(const char *step) const;

    QString m_path;
    int m_fd = -1;
};
