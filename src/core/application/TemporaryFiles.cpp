#include "TemporaryFiles.h"

#include <QDir>
#include <QFile>

TemporaryFiles::~TemporaryFiles()
{
    removeAll();
}

void TemporaryFiles::add(const QString &path)
{
    const std::lock_guard lock(m_mutex);
    m_paths.insert(path);
}

void TemporaryFiles::forget(const QString &path)
{
    const std::lock_guard lock(m_mutex);
    m_paths.remove(path);
}

void TemporaryFiles::removeAll()
{
    const std::lock_guard lock(m_mutex);
    for (const QString &path : std::as_const(m_paths))
        QFile::remove(path);
    m_paths.clear();
}

int TemporaryFiles::sweep(const QString &folder, const QStringList &patterns, const QDateTime &cutoff)
{
    int removed = 0;
    const QFileInfoList entries = QDir(folder).entryInfoList(patterns, QDir::Files | QDir::Hidden | QDir::System);
    for (const QFileInfo &entry : entries) {
        if (entry.lastModified() < cutoff && QFile::remove(entry.filePath()))
            ++removed;
    }
    return removed;
}
