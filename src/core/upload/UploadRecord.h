#pragma once

#include "UploadKind.h"
#include "UploadResult.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

// One finished upload as the upload history keeps it.
struct UploadRecord
{
    QUuid id;
    QUrl url;
    QString remoteName;
    UploadKind kind = UploadKind::image;
    QDateTime date; // when the upload finished, in UTC
    bool deletable = false;
    QString host;

    // A record with a fresh id, so that two uploads of the same file stay apart in the history.
    static UploadRecord fromResult(const UploadResult &result, UploadKind kind, const QDateTime &finished,
        const QString &host = QStringLiteral("Catbox"));

    friend bool operator==(const UploadRecord &, const UploadRecord &) = default;
};

// The stored form of the history: a JSON array of objects in the list's order. Records written
// by earlier versions are read back with these same keys, raw values and date reference, so
// none of them may change.
QByteArray encodeUploadRecords(const QList<UploadRecord> &records);
// None when the document is not exactly that form; one bad record rejects the whole document,
// since a history with silently missing entries would be harder to notice than an empty one.
std::optional<QList<UploadRecord>> decodeUploadRecords(const QByteArray &document);
