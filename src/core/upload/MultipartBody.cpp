#include "MultipartBody.h"

#include "ExclusiveFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QUuid>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

// Only a regular file has an end: /dev/zero would fill the disk and a FIFO would hang. Opened
// without waiting, since a FIFO's open blocks until someone writes to it; symbolic links are
// followed.
Result<void> openRegularFile(QFile &source, const QString &path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat status = {};
    if (fd < 0 || ::fstat(fd, &status) != 0) {
        const Error error{QString::fromLocal8Bit(std::strerror(errno)), QLatin1String("open ") + path};
        if (fd >= 0)
            ::close(fd);
        return error;
    }
    if (!S_ISREG(status.st_mode)) {
        ::close(fd);
        return Error{S_ISDIR(status.st_mode) ? QString::fromLocal8Bit(std::strerror(EISDIR))
                                             : QStringLiteral("Not a regular file"),
            QLatin1String("upload ") + path};
    }
    // A regular file never blocks, so O_NONBLOCK changes nothing for its reads.
    if (!source.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return Error{source.errorString(), QLatin1String("open ") + path};
    }
    return {};
}

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
    // The source is opened, and what was opened checked, before the body exists: nothing can be
    // swapped in between, and an unusable source leaves no body behind.
    QFile source;
    if (file) {
        if (Result<void> opened = openRegularFile(source, file->filePath); !opened)
            return opened.error();
    }
    const QString folder = directory.isEmpty() ? QDir::tempPath() : directory;
    // Private: it holds the user's file and, for an account, the userhash.
    Result<ExclusiveFile> created = ExclusiveFile::create(
        QDir(folder).filePath(QLatin1String("qorvel-upload-") + canonicalUuid()), ExclusiveFile::Access::privateToUser);
    if (!created)
        return created.error();
    ExclusiveFile &body = created.value();

    const QByteArray delimiter = "--" + m_boundary.toUtf8();
    for (const FormField &field : fields) {
        if (Result<void> written = body.append(fieldBlock(delimiter, field)); !written)
            return written.error();
    }

    if (file) {
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
    if (Result<void> finished = body.finish(); !finished)
        return finished.error();
    return body.path();
}
