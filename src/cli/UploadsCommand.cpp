#include "UploadsCommand.h"

#include "ErrorOutput.h"
#include "TerminalText.h"
#include "UploadError.h"
#include "UploadHistory.h"

#include <QEventLoop>

namespace {

std::optional<UploadRecord> find(const UploadHistory &history, const QString &wanted)
{
    const QList<UploadRecord> &records = history.records();
    bool isNumber = false;
    const int place = wanted.toInt(&isNumber);
    if (isNumber)
        return place >= 1 && place <= records.size() ? std::optional(records.at(place - 1)) : std::nullopt;
    const QUuid id = QUuid::fromString(wanted);
    for (const UploadRecord &record : records) {
        if (!id.isNull() && record.id == id)
            return record;
    }
    return std::nullopt;
}

} // namespace

int UploadsCommand::list(const UploadHistory &history, QTextStream &output)
{
    const QList<UploadRecord> &records = history.records();
    if (records.isEmpty()) {
        output << "No uploads yet.\n";
        return 0;
    }
    for (qsizetype i = 0; i < records.size(); ++i) {
        const UploadRecord &record = records.at(i);
        output << qSetFieldWidth(2) << Qt::right << (i + 1) << qSetFieldWidth(0) << Qt::left << "  "
               << rawValue(record.kind) << "  "
               << record.date.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")) << "  "
               << printableText(record.url.toString()) << "  "
               << (record.deletable ? QStringLiteral("deletable") : QStringLiteral("anonymous")) << "  "
               << record.id.toString(QUuid::WithoutBraces).toUpper() << '\n';
    }
    return 0;
}

int UploadsCommand::remove(
    const QString &wanted, UploadHistory &history, Uploader &uploader, QTextStream &output, QTextStream &errors)
{
    const std::optional<UploadRecord> record = find(history, wanted);
    if (!record)
        return printError(errors, QStringLiteral("no upload '%1' in the list (see 'qorvel uploads')").arg(wanted));
    // Catbox would refuse it anyway; asking it would only cost a round trip.
    if (!record->deletable)
        return printError(errors, UploadError::deletionUnavailable(record->host).description());
    std::optional<Result<void>> result;
    QEventLoop loop;
    uploader.remove(record->remoteName, [&result, &loop](Result<void> done) {
        result = std::move(done);
        loop.quit();
    });
    if (!result)
        loop.exec();
    if (!result->ok())
        return printError(errors, result->error().message);
    history.remove(record->id);
    output << "Deleted " << printableText(record->url.toString()) << '\n';
    return 0;
}

int UploadsCommand::clear(UploadHistory &history, QTextStream &output)
{
    const qsizetype count = history.records().size();
    history.clear();
    output << "Forgot " << count << (count == 1 ? " upload" : " uploads") << "; the files stay on Catbox.\n";
    return 0;
}
