#include "ExclusiveFile.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

Error systemError(const char *step, const QString &path)
{
    return Error{QString::fromLocal8Bit(std::strerror(errno)), QLatin1String(step) + QLatin1Char(' ') + path};
}

} // namespace

Result<void> ExclusiveFile::write(const QString &path, const QByteArray &data, Access access)
{
    const QByteArray name = QFile::encodeName(path);
    const mode_t mode = access == Access::privateToUser ? 0600 : 0666;
    const int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd < 0)
        return systemError("create", path);

    const char *next = data.constData();
    qsizetype left = data.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, next, size_t(left));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            // A full disk may take a short write first and refuse only the rest.
            if (written == 0)
                errno = ENOSPC;
            const Error failure = systemError("write", path);
            ::close(fd);
            ::unlink(name.constData());
            return failure;
        }
        next += written;
        left -= written;
    }
    // Some file systems (NFS, quotas) report a failed write only when the file is closed.
    if (::close(fd) != 0) {
        const Error failure = systemError("close", path);
        ::unlink(name.constData());
        return failure;
    }
    return {};
}
