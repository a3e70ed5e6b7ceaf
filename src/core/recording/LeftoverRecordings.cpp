#include "LeftoverRecordings.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcLeftovers, "qorvel.recording.leftovers")

QStringList LeftoverRecordings::recover(const QString &folder, const Recover &recover)
{
    QStringList recovered;
    // Only the name a recording has while it is written: a delivered one has been renamed.
    const QFileInfoList files = QDir(folder).entryInfoList(
        {QStringLiteral("recording-*.mp4")}, QDir::Files | QDir::NoSymLinks, QDir::Time | QDir::Reversed);
    for (const QFileInfo &file : files) {
        const QString path = file.absoluteFilePath();
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            continue;
        // A live writer holds its file until it is finished; holding it here in turn keeps a
        // second Qorvel starting now from recovering it too.
        if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            ::close(fd);
            continue;
        }
        const Result<void> made = recover(path);
        ::close(fd);
        if (made) {
            qCInfo(lcLeftovers) << "recovered" << path;
            recovered << path;
        } else {
            qCWarning(lcLeftovers) << "cannot recover" << path << made.error().message << made.error().detail;
        }
    }
    return recovered;
}
