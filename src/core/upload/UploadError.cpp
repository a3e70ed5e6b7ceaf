#include "UploadError.h"

namespace {

QString megabytes(qint64 bytes)
{
    return QString::asprintf("%.1f MB", double(bytes) / 1'000'000.0);
}

const char *kindName(UploadError::Kind kind)
{
    switch (kind) {
    case UploadError::Kind::fileTooLarge:
        return "fileTooLarge";
    case UploadError::Kind::rateLimited:
        return "rateLimited";
    case UploadError::Kind::rejected:
        return "rejected";
    case UploadError::Kind::invalidResponse:
        return "invalidResponse";
    case UploadError::Kind::deletionUnavailable:
        return "deletionUnavailable";
    }
    return "unknown";
}

UploadError withKind(UploadError::Kind kind, const QString &host)
{
    UploadError error;
    error.kind = kind;
    error.host = host;
    return error;
}

} // namespace

UploadError UploadError::fileTooLarge(qint64 size, qint64 limit, const QString &host)
{
    UploadError error = withKind(UploadError::Kind::fileTooLarge, host);
    error.size = size;
    error.limit = limit;
    return error;
}

UploadError UploadError::rateLimited(std::optional<qint64> seconds, const QString &host)
{
    UploadError error = withKind(UploadError::Kind::rateLimited, host);
    error.retryAfterSeconds = seconds;
    return error;
}

UploadError UploadError::rejected(int status, const QString &message, const QString &host)
{
    UploadError error = withKind(UploadError::Kind::rejected, host);
    error.status = status;
    error.message = message;
    return error;
}

UploadError UploadError::invalidResponse(const QString &host)
{
    return withKind(Kind::invalidResponse, host);
}

UploadError UploadError::deletionUnavailable(const QString &host)
{
    return withKind(Kind::deletionUnavailable, host);
}

QString UploadError::description() const
{
    switch (kind) {
    case Kind::fileTooLarge:
        return QStringLiteral("The file is %1; %2 accepts at most %3.").arg(megabytes(size), host, megabytes(limit));
    case Kind::rateLimited:
        if (retryAfterSeconds)
            return QStringLiteral("%1 is temporarily limiting uploads. Try again in %2 s.")
                .arg(host, QString::number(*retryAfterSeconds));
        return QStringLiteral("%1 is temporarily limiting uploads. Try again in a moment.").arg(host);
    case Kind::rejected:
        if (message.isEmpty())
            return QStringLiteral("%1 rejected the file (HTTP %2).").arg(host, QString::number(status));
        // One pass: a message holding "%3" must not be filled in again.
        return QStringLiteral("%1 rejected the file: %2 (HTTP %3).").arg(host, message, QString::number(status));
    case Kind::invalidResponse:
        return QStringLiteral("%1 returned an unexpected response.").arg(host);
    case Kind::deletionUnavailable:
        return QStringLiteral("This file can't be deleted from %1 because it was uploaded anonymously.").arg(host);
    }
    return QString();
}

Error UploadError::toError() const
{
    return Error{description(), QLatin1String("upload error ") + QLatin1String(kindName(kind))};
}
