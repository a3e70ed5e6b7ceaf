#include "MultipartBody.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QUuid>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace {

QString canonicalUuid()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

QByteArray fieldBlock(const QByteArray &delimiter, const FormField &field)
{
    return delimiter + "\r\nContent-Disposition: form-data; name=\"" + field.first.toUtf8() + "\"\r\n\r\n"
        + field.second.toUtf8() + "\r\n";
}

// Keeps the body file until the body is complete, so that a failure half-way leaves no
// fragment of the user's file behind. Written through the system's calls, so that a full disk
// reads "No space left on device" (Qt reports a short write as "Unknown error").
class BodyFile
{
public:
    explicit BodyFile(QString path)
        : m_path(std::move(path))
        , m_name(QFile::encodeName(m_path))
    {
    }
    ~BodyFile()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        if (m_fd >= 0 && !m_kept)
            ::unlink(m_name.constData());
    }
    BodyFile(const BodyFile &) = delete;
    BodyFile &operator=(const BodyFile &) = delete;

    Result<void> create()
    {
        m_fd = ::open(m_name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (m_fd < 0)
            return failure("create");
        return {};
    }
    Result<void> append(const QByteArray &bytes)
    {
        const char *next = bytes.constData();
        qsizetype left = bytes.size();
        while (left > 0) {
            const ssize_t written = ::write(m_fd, next, size_t(left));
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0) {
                if (written == 0)
                    errno = ENOSPC;
                return failure("write");
            }
            next += written;
            left -= written;
        }
        return {};
    }
    Result<QString> finish()
    {
        const int fd = std::exchange(m_fd, -1);
        if (::close(fd) != 0) {
            const Error error = failure("close");
            ::unlink(m_name.constData());
            return error;
        }
        m_kept = true;
        return m_path;
    }

private:
    Error failure(const char *step) const
    {
        return Error{QString::fromLocal8Bit(std::strerror(errno)), QLatin1String(step) + QLatin1Char(' ') + m_path};
    }

    QString m_path;
    QByteArray m_name;
    int m_fd = -1;
    bool m_kept = false;
};

} // namespace

MultipartBody::MultipartBody(QString boundary)
    : m_boundary(std::move(boundary))
{
}

QByteArray MultipartBody::contentType() const
{
    return "multipart/form-data; boundary=" + m_boundary.toUtf8();
}

QString MultipartBody::newBoundary()
{
    return QLatin1String("Qorvel-") + canonicalUuid();
}

QString MultipartBody::fileName(const QString &filePath)
{
    return QFileInfo(filePath).fileName().remove(QLatin1Char('"'));
}

QString MultipartBody::contentType(const QString &filePath)
{
    const QString suffix = QFileInfo(filePath).suffix();
    if (!suffix.isEmpty()) {
        // By the extension alone, as the receiving host will judge it; the content is not sniffed.
        static const QMimeDatabase database;
        const QList<QMimeType> types = database.mimeTypesForFileName(QLatin1String("x.") + suffix);
        if (!types.isEmpty() && !types.first().isDefault())
            return types.first().name();
    }
    return QStringLiteral("application/octet-stream");
}

Result<QString> MultipartBody::write(
    const QList<FormField> &fields, const std::optional<FilePart> &file, const QString &directory) const
{
    if (file) {
        // Only a regular file has an end: /dev/zero would fill the disk, a FIFO would hang.
        const QFileInfo source(file->filePath); // after symbolic links
        if (source.exists() && !source.isFile()) {
            return Error{source.isDir() ? QStringLiteral("Is a directory") : QStringLiteral("Not a regular file"),
                QLatin1String("upload ") + file->filePath};
        }
    }
    const QString folder = directory.isEmpty() ? QDir::tempPath() : directory;
    BodyFile body(QDir(folder).filePath(QLatin1String("qorvel-upload-") + canonicalUuid()));
    if (Result<void> created = body.create(); !created)
        return created.error();

    const QByteArray delimiter = "--" + m_boundary.toUtf8();
    for (const FormField &field : fields) {
        if (Result<void> written = body.append(fieldBlock(delimiter, field)); !written)
            return written.error();
    }

    if (file) {
        QFile source(file->filePath);
        if (!source.open(QIODevice::ReadOnly))
            return Error{source.errorString(), QLatin1String("open ") + file->filePath};
        const QByteArray header = delimiter + "\r\nContent-Disposition: form-data; name=\"" + file->fieldName.toUtf8()
            + "\"; filename=\"" + fileName(file->filePath).toUtf8()
            + "\"\r\nContent-Type: " + contentType(file->filePath).toUtf8() + "\r\n\r\n";
        if (Result<void> written = body.append(header); !written)
            return written.error();
        QByteArray chunk(chunkSize, Qt::Uninitialized);
        qint64 copied = 0;
        for (;;) {
            const qint64 count = source.read(chunk.data(), chunkSize);
            if (count < 0)
                return Error{source.errorString(), QLatin1String("read ") + file->filePath};
            if (count == 0)
                break;
            copied += count;
            if (file->admit) {
                if (Result<void> admitted = file->admit(copied); !admitted)
                    return admitted.error();
            }
            if (Result<void> written = body.append(QByteArray::fromRawData(chunk.constData(), count)); !written)
                return written.error();
        }
        if (Result<void> written = body.append("\r\n"); !written)
            return written.error();
    }

    if (Result<void> written = body.append(delimiter + "--\r\n"); !written)
        return written.error();
    return body.finish();
}
