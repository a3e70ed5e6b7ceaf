#include "RecordingFiles.h"

#include "StagingFolders.h"

#include <QDir>
#include <QUuid>

RecordingFiles::RecordingFiles(QString folder)
    : m_folder(std::move(folder))
{
}

Result<QString> RecordingFiles::makeRecordingURL() const
{
    if (Result<void> made = StagingFolders::makePrivate(m_folder); !made)
        return made.error();
    const QString uuid = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    return QDir(m_folder).filePath(QStringLiteral("recording-") + uuid + QStringLiteral(".mp4"));
}
