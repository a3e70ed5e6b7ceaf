#pragma once

#include "Result.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>
#include <utility>

// The file sent in a body: its bytes go out under the form field `fieldName`.
struct FilePart
{
    QString fieldName;
    QString filePath;
    // Asked with the bytes copied so far: a file that grows while it is read must not pass a
    // size limit it passed before. None admits any size.
    std::function<Result<void>(qint64 copiedBytes)> admit;
};

using FormField = std::pair<QString, QString>;

// A complete multipart/form-data request body, written to a temporary file so that a file of
// hundreds of megabytes is sent without ever being held in memory.
class MultipartBody
{
public:
    explicit MultipartBody(QString boundary);

    const QString &boundary() const { return m_boundary; }
    // The request's Content-Type header for this body.
    QByteArray contentType() const;

    // Writes the fields in order, then the file part if there is one, into a new file in
    // `directory` that only the user can read. The caller owns the file and removes it.
    // File-system failures come back with the system's own words; nothing is left behind.
    Result<QString> write(const QList<FormField> &fields, const std::optional<FilePart> &file,
        const QString &directory = QString()) const;

    // "Qorvel-" and a new upper-case UUID: fresh for every request.
    static QString newBoundary();
    // The name sent for a file: its last path component with double quotes dropped, since
    // the header quotes it and servers disagree on escapes.
    static QString fileName(const QString &filePath);
    // The MIME type of the file's extension, or application/octet-stream when it has none.
    static QString contentType(const QString &filePath);

    static constexpr qint64 chunkSize = qint64(1024) * 1024;

private:
    QString m_boundary;
};
