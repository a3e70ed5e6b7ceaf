#pragma once

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

    // Removes every entry of both folders last modified before now - maxAge. Failures are
    // ignored: a file that cannot be removed now is tried again at the next start.
    // Returns how many entries went.
    int purge(const QDateTime &now) const;

private:
    QString m_root;
};
