#pragma once

#include "Result.h"

#include <QDateTime>
#include <QString>

#include <chrono>

// The two private folders that hold captures between their creation and their delivery:
// "Uploads" for screenshots that are uploaded but not saved, "Recordings" for recordings that
// are not saved. A crash can leave files behind, so entries older than a day are purged at
// start; a delivery in flight is never that old.
class StagingFolders
{
public:
    static constexpr std::chrono::seconds maxAge{86400};

    // `root` is the application's cache folder.
    explicit StagingFolders(QString root);

    QString uploads() const;
    QString recordings() const;

    // `folder` (one of the above) as it must be before a capture goes in: a real folder, mode
    // 0700, created with its parents if need be. A symbolic link in its place is refused, not
    // followed: its target's mode would be changed and the captures written there.
    static Result<void> makePrivate(const QString &folder);

    // Removes every entry of both folders last modified before now - maxAge. Failures are
    // ignored: a file that cannot be removed now is tried again at the next start.
    // Returns how many entries went.
    int purge(const QDateTime &now) const;

private:
    QString m_root;
};
