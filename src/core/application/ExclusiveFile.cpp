#include "ExclusiveFile.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

Result<ExclusiveFile> ExclusiveFile::create(const QString &path, Access access)
{
    const mode_t mode = access == Access::privateToUser ? 0600 : 0666;
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    ExclusiveFile file(path, fd);
    if (fd < 0)
        return file.failure("create");
    return file;
}

Result<void> ExclusiveFile::write(const QString &path, const QByteArray &data, Access access)
{
    Result<ExclusiveFile> file = create(path, access);
    if (!file)
        return file.error();
    if (Result<void> written = file.value().append(data); !written)
        return written;
    return file.value().finish();
}

Result<void> ExclusiveFile::move(const QString &source, const QString &path, Access access)
{
    const QByteArray from = QFile::encodeName(source);
    const auto failed = [&](const char *step) {
        return Error{QString::fromLocal8Bit(std::strerror(errno)),
            QLatin1String(step) + QLatin1Char(' ') + source + QLatin1String(" to ") + path};
    };
    const QByteArray to = QFile::encodeName(path);
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return {};
    // EINVAL: a file system that cannot rename without replacing; a copy never replaces.
    if (errno != EXDEV && errno != EINVAL)
        return failed("move");

    const int in = ::open(from.constData(), O_RDONLY | O_CLOEXEC);
    if (in < 0)
        return failed("open");
    Result<ExclusiveFile> copy = create(path, access);
    Result<void> copied = copy ? Result<void>() : Result<void>(copy.error());
    QByteArray chunk(qsizetype(1) << 20, Qt::Uninitialized);
    while (copied) {
        const ssize_t count = ::read(in, chunk.data(), size_t(chunk.size()));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            copied = count == 0 ? copy.value().finish() : Result<void>(failed("read"));
            break;
        }
        copied = copy.value().append(QByteArray::fromRawData(chunk.constData(), count));
    }
    ::close(in);
    // The copy is whole: a source that cannot be removed now is a stray file, not a failed move.
    if (copied)
        ::unlink(from.constData());
    return copied;
}

ExclusiveFile::ExclusiveFile(QString path, int fd)
    : m_path(std::move(path))
    , m_fd(fd)
{
}

ExclusiveFile::ExclusiveFile(ExclusiveFile &&other) noexcept
    : m_path(std::move(other.m_path))
    , m_fd(std::exchange(other.m_fd, -1))
{
}

ExclusiveFile::~ExclusiveFile()
{
    if (m_fd < 0)
        return;
    ::close(m_fd);
    ::unlink(QFile::encodeName(m_path).constData());
}

Result<void> ExclusiveFile::append(const QByteArray &bytes)
{
    const char *next = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(m_fd, next, size_t(left));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            // A full disk may take a short write first and refuse only the rest.
            if (written == 0)
                errno = ENOSPC;
            return failure("write");
        }
        next += written;
        left -= written;
    }
    return {};
}

Result<void> ExclusiveFile::finish()
{
    // Some file systems (NFS, quotas) report a failed write only when the file is closed.
    if (::close(std::exchange(m_fd, -1)) != 0) {
        const Error error = failure("close");
        ::unlink(QFile::encodeName(m_path).constData());
        return error;
    }
    return {};
}

Error ExclusiveFile::failure(const char *step) const
{
    return Error{QString::fromLocal8Bit(std::strerror(errno)), QLatin1String(step) + QLatin1Char(' ') + m_path};
}
