#pragma once

#include <QDateTime>
#include <QSet>
#include <QString>
#include <QStringList>

#include <mutex>

// The temporary files of this process that still exist (request bodies, staged copies,
// notification thumbnails), so that however the process ends, by a signal or with the X
// server gone, it takes them along. Any thread may add and forget.
class TemporaryFiles
{
public:
    TemporaryFiles() = default;
    // Whatever is still listed goes with the list.
    ~TemporaryFiles();
    TemporaryFiles(const TemporaryFiles &) = delete;
    TemporaryFiles &operator=(const TemporaryFiles &) = delete;

    void add(const QString &path);
    // The file was removed, or handed on to the user.
    void forget(const QString &path);
    void removeAll();

    // Removes what an earlier process left in `folder`: files whose names match `patterns`
    // (wildcards) last modified before `cutoff`. Returns how many went.
    static int sweep(const QString &folder, const QStringList &patterns, const QDateTime &cutoff);

private:
    std::mutex m_mutex;
    QSet<QString> m_paths;
};
