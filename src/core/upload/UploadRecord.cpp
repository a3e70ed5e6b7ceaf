#include "UploadRecord.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <cmath>
#include <utility>

namespace {

// Dates are stored as seconds since 2001-01-01 00:00:00 UTC, not since 1970.
constexpr qint64 referenceMSecsSinceEpoch = 978307200000;
// Far beyond any real upload, yet small enough that the milliseconds fit in a qint64 and a
// QDateTime; a larger number can only come from a damaged document.
constexpr double maximumSeconds = 1e12;

namespace Key {
inline constexpr QLatin1String id{"id"};
inline constexpr QLatin1String url{"url"};
inline constexpr QLatin1String remoteName{"remoteName"};
inline constexpr QLatin1String kind{"kind"};
inline constexpr QLatin1String date{"date"};
inline constexpr QLatin1String deletable{"deletable"};
inline constexpr QLatin1String host{"host"};
} // namespace Key

double storedDate(const QDateTime &date)
{
    return double(date.toMSecsSinceEpoch() - referenceMSecsSinceEpoch) / 1000.0;
}

std::optional<QDateTime> dateFromStored(double seconds)
{
    if (!std::isfinite(seconds) || std::fabs(seconds) > maximumSeconds)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(std::llround(seconds * 1000.0) + referenceMSecsSinceEpoch, Qt::UTC);
}

std::optional<UploadRecord> decodeRecord(const QJsonValue &value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject object = value.toObject();
    const QJsonValue id = object.value(Key::id);
    const QJsonValue url = object.value(Key::url);
    const QJsonValue remoteName = object.value(Key::remoteName);
    const QJsonValue kind = object.value(Key::kind);
    const QJsonValue date = object.value(Key::date);
    const QJsonValue deletable = object.value(Key::deletable);
    const QJsonValue host = object.value(Key::host);
    if (!id.isString() || !url.isString() || !remoteName.isString() || !kind.isString() || !date.isDouble()
        || !deletable.isBool() || !host.isString())
        return std::nullopt;

    UploadRecord record;
    // QUuid answers a parse failure with the nil id, which this program never hands out, so a
    // stored nil id is treated as damage as well.
    record.id = QUuid::fromString(id.toString());
    if (record.id.isNull())
        return std::nullopt;
    record.url = QUrl(url.toString(), QUrl::StrictMode);
    if (!record.url.isValid() || record.url.isEmpty())
        return std::nullopt;
    const std::optional<UploadKind> parsedKind = uploadKindFromRawValue(kind.toString());
    const std::optional<QDateTime> parsedDate = dateFromStored(date.toDouble());
    if (!parsedKind || !parsedDate)
        return std::nullopt;
    record.kind = *parsedKind;
    record.date = *parsedDate;
    record.remoteName = remoteName.toString();
    record.deletable = deletable.toBool();
    record.host = host.toString();
    return record;
}

} // namespace

UploadRecord UploadRecord::fromResult(
    const UploadResult &result, UploadKind kind, const QDateTime &finished, const QString &host)
{
    return UploadRecord{
        QUuid::createUuid(), result.url, result.remoteName, kind, finished.toUTC(), result.deletable, host};
}

QByteArray encodeUploadRecords(const QList<UploadRecord> &records)
{
    QJsonArray array;
    for (const UploadRecord &record : records) {
        array.append(QJsonObject{
            {Key::id, record.id.toString(QUuid::WithoutBraces).toUpper()},
            {Key::url, record.url.toString(QUrl::FullyEncoded)},
            {Key::remoteName, record.remoteName},
            {Key::kind, rawValue(record.kind)},
            {Key::date, storedDate(record.date)},
            {Key::deletable, record.deletable},
            {Key::host, record.host},
        });
    }
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

std::optional<QList<UploadRecord>> decodeUploadRecords(const QByteArray &document)
{
    QJsonParseError error;
    const QJsonDocument parsed = QJsonDocument::fromJson(document, &error);
    if (error.error != QJsonParseError::NoError || !parsed.isArray())
        return std::nullopt;

    const QJsonArray array = parsed.array();
    QList<UploadRecord> records;
    records.reserve(array.size());
    for (const QJsonValue value : array) {
        std::optional<UploadRecord> record = decodeRecord(value);
        if (!record)
            return std::nullopt;
        records.append(std::move(*record));
    }
    return records;
}
