#include "StagingFolders.h"

#include <QDir>
#include <QFileInfo>

#include <utility>

StagingFolders::StagingFolders(QString root)
    : m_root(std::move(root))
{
}

QString StagingFolders::uploads() const
{
    return QDir(m_root).filePath(QStringLiteral("Uploads"));
}

QString StagingFolders::recordings() const
{
    return QDir(m_root).filePath(QStringLiteral("Recordings"));
}

int StagingFolders::purge(const QDateTime &now) const
{
    const QDateTime cutoff = now.addSecs(-maxAge.count());
    int removed = 0;
    for (const QString &folder : {uploads(), recordings()}) {
        const QFileInfoList entries
            = QDir(folder).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
        for (const QFileInfo &entry : entries) {
            if (entry.lastModified() >= cutoff)
                continue;
            const bool gone = entry.isDir() && !entry.isSymLink() ? QDir(entry.filePath()).removeRecursively()
                                                                  : QFile::remove(entry.filePath());
            removed += gone ? 1 : 0;
        }
    }
    return removed;
}
