#include "StagingFolders.h"

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

StagingFolders::StagingFolders(QString root)
    : m_root(std::move(root))
{
}

QString StagingFolders::uploads() const
{
    return QDir(m_root).filePath(QStringLiteral("Uploads"));
}

QString StagingFolders::recordings() const
{
    return QDir(m_root).filePath(QStringLiteral("Recordings"));
}

Result<void> StagingFolders::makePrivate(const QString &folder)
{
    const auto failed = [&folder](const char *step) {
        return Error{QString::fromLocal8Bit(std::strerror(errno)) + QLatin1String(": ") + folder,
            QLatin1String(step) + QLatin1Char(' ') + folder};
    };
    if (!QDir().mkpath(QFileInfo(folder).path()))
        return Error{QStringLiteral("Couldn't create the folder %1.").arg(QFileInfo(folder).path()), folder};
    const QByteArray name = QFile::encodeName(folder);
    if (::mkdir(name.constData(), 0700) != 0 && errno != EEXIST)
        return failed("mkdir");
    // O_NOFOLLOW: a link in the folder's place fails here (ENOTDIR beside O_DIRECTORY) instead
    // of being chmodded. Nor is it removed: it may be the user's way of moving the cache.
    const int fd = ::open(name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        const int openError = errno;
        struct stat link = {};
        if (::lstat(name.constData(), &link) == 0 && S_ISLNK(link.st_mode))
            return Error{QStringLiteral("%1 is a symbolic link; captures wait only in a private folder.").arg(folder),
                QLatin1String("open ") + folder};
        errno = openError;
        return failed("open");
    }
    const bool privateNow = ::fchmod(fd, 0700) == 0;
    const int chmodError = errno;
    ::close(fd);
    if (!privateNow) {
        errno = chmodError;
        return failed("chmod");
    }
    return {};
}

int StagingFolders::purge(const QDateTime &now) const
{
    const QDateTime cutoff = now.addSecs(-maxAge.count());
    int removed = 0;
    for (const QString &folder : {uploads(), recordings()}) {
        const QFileInfoList entries
            = QDir(folder).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
        for (const QFileInfo &entry : entries) {
            if (entry.lastModified() >= cutoff)
                continue;
            const bool gone = entry.isDir() && !entry.isSymLink() ? QDir(entry.filePath()).removeRecursively()
                                                                  : QFile::remove(entry.filePath());
            removed += gone ? 1 : 0;
        }
    }
    return removed;
}
