#pragma once

#include "Result.h"

#include <QString>

// Where recordings are written while they run: the private Recordings staging folder, where a
// killed recording stays (playable) until StagingFolders::purge removes it a day later.
class RecordingFiles
{
public:
    // `folder` is the Recordings staging folder.
    explicit RecordingFiles(QString folder);

    QString recordingsFolder() const { return m_folder; }
    // A new path "recording-<UUID>.mp4" in the folder, which is made (private) if need be.
    Result<QString> makeRecordingURL() const;

private:
    QString m_folder;
};
