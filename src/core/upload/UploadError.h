#pragma once

#include "Error.h"

#include <QString>

#include <optional>

// Why a host refused or garbled an upload or a deletion. Failures of the file system or the
// network are not among these: they pass through in the system's own words.
struct UploadError
{
    enum class Kind { fileTooLarge, rateLimited, rejected, invalidResponse, deletionUnavailable };

    Kind kind = Kind::invalidResponse;
    QString host;
    qint64 size = 0;
    qint64 limit = 0;
    std::optional<qint64> retryAfterSeconds;
    int status = 0;
    QString message;

    static UploadError fileTooLarge(qint64 size, qint64 limit, const QString &host);
    static UploadError rateLimited(std::optional<qint64> seconds, const QString &host);
    static UploadError rejected(int status, const QString &message, const QString &host);
    static UploadError invalidResponse(const QString &host);
    static UploadError deletionUnavailable(const QString &host);

    QString description() const;
    Error toError() const;
};
